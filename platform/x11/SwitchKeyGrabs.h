#pragma once

#include "platform/x11/X11Keyboard.h"

#include <QString>

#include <optional>
#include <variant>
#include <vector>

namespace hopla::x11 {

class XConnection;

// Another client already holds one of the switch shortcuts (often the window manager).
struct GrabConflict {
    QString combination; // as the user would name it: "Super+Tab", "Alt+Shift+Tab"
};

// The passive grabs that open the switcher: the switch modifier with Tab, and with
// Shift+Tab, on the root window, in every combination of CapsLock, NumLock and ScrollLock
// so the locks never get in the way; the same with the key above Tab, for the windows of
// the frontmost application. The keyboard freezes on the key that fires one, until
// its owner takes the keyboard or lets the key go on (keys typed meanwhile wait in the
// server rather than reach the application). Held until destroyed.
class SwitchKeyGrabs {
public:
    // Grabs them all as checked requests. When a Tab grab is refused, the ones taken are
    // released and the conflict names the combination that is taken. The key above Tab is
    // taken where it can be: switching applications does not depend on it.
    static std::variant<SwitchKeyGrabs, GrabConflict>
    grab(XConnection& x, const ServerKeyboard& keyboard, std::uint16_t switchModifier);
    SwitchKeyGrabs(SwitchKeyGrabs&& other) noexcept;
    SwitchKeyGrabs& operator=(SwitchKeyGrabs&&) = delete;
    SwitchKeyGrabs(const SwitchKeyGrabs&) = delete;
    ~SwitchKeyGrabs();

    std::size_t count() const { return grabs_.size(); }
    // The combination with the key above Tab that another client holds ("Super+`").
    const std::optional<QString>& windowKeyTaken() const { return windowKeyTaken_; }

    // The name of a modifier mask for messages: "Super", "Alt", "Ctrl+Alt".
    static QString modifierName(std::uint16_t mask);

private:
    struct Grab {
        KeyCode key;
        std::uint16_t modifiers;
    };
    explicit SwitchKeyGrabs(XConnection& x)
        : x_(&x) {}
    void releaseAll();

    XConnection* x_;
    std::vector<Grab> grabs_;
    std::optional<QString> windowKeyTaken_;
};

} // namespace hopla::x11
