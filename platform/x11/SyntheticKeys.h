#pragma once

#include "platform/SyntheticKeyboard.h"

#include <cstdint>
#include <memory>
#include <string>

namespace hopla::x11 {

class XConnection;

// Types key chords through XTEST on a connection of its own, exactly as a keyboard would:
// the server delivers them to whichever window has the focus.
class SyntheticKeys final : public SyntheticKeyboard {
public:
    // Nothing, with the reason, without an X server or its XTEST extension.
    static std::unique_ptr<SyntheticKeys> open(std::string* error);
    ~SyntheticKeys();
    SyntheticKeys(const SyntheticKeys&) = delete;
    SyntheticKeys& operator=(const SyntheticKeys&) = delete;

    // ASCII characters are their own X keysyms.
    bool pressWithControl(char latin) override;

private:
    explicit SyntheticKeys(std::unique_ptr<XConnection> x);
    // The first keycode whose unshifted symbol is `keysym`; 0 when none is.
    std::uint8_t keycodeOf(std::uint32_t keysym);

    std::unique_ptr<XConnection> x_;
};

} // namespace hopla::x11
