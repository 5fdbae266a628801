#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace hopla::x11 {

class XConnection;

// Types key chords through XTEST on a connection of its own, exactly as a keyboard would:
// the server delivers them to whichever window has the focus.
class SyntheticKeys {
public:
    // Nothing, with the reason, without an X server or its XTEST extension.
    static std::unique_ptr<SyntheticKeys> open(std::string* error);
    ~SyntheticKeys();
    SyntheticKeys(const SyntheticKeys&) = delete;
    SyntheticKeys& operator=(const SyntheticKeys&) = delete;

    // Holds Control while the key that types `keysym` (an X keysym, such as 'w') at its base
    // level goes down and up. False when no key types it or the connection is gone.
    bool pressWithControl(std::uint32_t keysym);

private:
    explicit SyntheticKeys(std::unique_ptr<XConnection> x);
    // The first keycode whose unshifted symbol is `keysym`; 0 when none is.
    std::uint8_t keycodeOf(std::uint32_t keysym);

    std::unique_ptr<XConnection> x_;
};

} // namespace hopla::x11
