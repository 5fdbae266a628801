#pragma once

#include <cstdint>

// Plain names for the X protocol's integers on the adapters' surfaces, so that code
// outside platform/x11 never needs xcb's headers. They are xcb's own types underneath.
namespace hopla::x11 {

using WindowId = std::uint32_t;   // an X window (xcb_window_t)
using ServerTime = std::uint32_t; // an X server timestamp (xcb_timestamp_t)
using KeyCode = std::uint8_t;     // a key of the X keyboard (xcb_keycode_t)
using Pid = std::int32_t;         // a local process id

inline constexpr WindowId noWindow = 0;      // XCB_WINDOW_NONE
inline constexpr ServerTime currentTime = 0; // XCB_CURRENT_TIME

} // namespace hopla::x11
