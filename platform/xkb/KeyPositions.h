#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <utility>

namespace hopla::virtual_keys {

// The switcher speaks the virtual key codes of the ANSI key positions (0 is the key labelled
// A on a US keyboard, 48 Tab, 53 Escape, 55 the left Super key). This table maps each of
// them to the Linux evdev code of the key in the same physical position; an X keycode is
// the evdev code plus 8.
inline constexpr std::array<std::pair<std::uint16_t, std::uint16_t>, 103> positions{{
    {0, 30},    {1, 31},    {2, 32},    {3, 33},    {4, 35},    {5, 34},    {6, 44},    {7, 45},
    {8, 46},    {9, 47},    {10, 86},   {11, 48},   {12, 16},   {13, 17},   {14, 18},   {15, 19},
    {16, 21},   {17, 20},   {18, 2},    {19, 3},    {20, 4},    {21, 5},    {22, 7},    {23, 6},
    {24, 13},   {25, 10},   {26, 8},    {27, 12},   {28, 9},    {29, 11},   {30, 27},   {31, 24},
    {32, 22},   {33, 26},   {34, 23},   {35, 25},   {36, 28},   {37, 38},   {38, 36},   {39, 40},
    {40, 37},   {41, 39},   {42, 43},   {43, 51},   {44, 53},   {45, 49},   {46, 50},   {47, 52},
    {48, 15},   {49, 57},   {50, 41},   {51, 14},   {53, 1},    {54, 126},  {55, 125},  {56, 42},
    {57, 58},   {58, 56},   {59, 29},   {60, 54},   {61, 100},  {62, 97},   {65, 83},   {67, 55},
    {69, 78},   {71, 69},   {75, 98},   {76, 96},   {78, 74},   {81, 117},  {82, 82},   {83, 79},
    {84, 80},   {85, 81},   {86, 75},   {87, 76},   {88, 77},   {89, 71},   {91, 72},   {92, 73},
    {96, 63},   {97, 64},   {98, 65},   {99, 61},   {100, 66},  {101, 67},  {103, 87},  {109, 68},
    {111, 88},  {114, 110}, {115, 102}, {116, 104}, {117, 111}, {118, 62},  {119, 107}, {120, 60},
    {121, 109}, {122, 59},  {123, 105}, {124, 106}, {125, 108}, {126, 103}, {127, 127},
}};

namespace detail {
inline constexpr std::uint16_t none = 0xFFFF;

// A lookup from one side of the positions to the other, `none` where no key sits.
template <std::size_t size, bool byEvdev> constexpr std::array<std::uint16_t, size> lookup() {
    std::array<std::uint16_t, size> table{};
    table.fill(none);
    for (const auto& [virtualKey, evdev] : positions) {
        table[byEvdev ? evdev : virtualKey] = byEvdev ? virtualKey : evdev;
    }
    return table;
}

inline constexpr auto evdevToVirtual = lookup<256, true>();
inline constexpr auto virtualToEvdev = lookup<128, false>();
} // namespace detail

// The evdev code of the key at the virtual key's position.
constexpr std::optional<std::uint16_t> evdevCode(std::uint16_t virtualKey) {
    if (virtualKey >= detail::virtualToEvdev.size() ||
        detail::virtualToEvdev[virtualKey] == detail::none) {
        return std::nullopt;
    }
    return detail::virtualToEvdev[virtualKey];
}

// The virtual key code of the key at the evdev code's position. A table lookup: safe on the
// key-event path.
constexpr std::optional<std::uint16_t> fromEvdev(std::uint32_t evdev) {
    if (evdev >= detail::evdevToVirtual.size() || detail::evdevToVirtual[evdev] == detail::none) {
        return std::nullopt;
    }
    return detail::evdevToVirtual[evdev];
}

} // namespace hopla::virtual_keys
