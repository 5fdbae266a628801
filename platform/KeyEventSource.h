#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace hopla {

// One keyboard event as the switcher sees it: virtual key code (ANSI positions, Super for
// Command), the modifiers held, and whether it is an auto-repeat.
struct KeyEvent {
    // layoutChanged: the keyboard mapping changed; letters must be looked up afresh.
    enum class Type { keyDown, keyUp, flagsChanged, layoutChanged };
    Type type = Type::keyDown;
    std::int64_t code = 0;
    bool command = false;
    bool shift = false;
    bool otherModifier = false; // Alt or Control
    bool repeated = false;
};

// Where keyboard events come from: the desktop's keyboard, seen on a thread of the
// source's own. The handler answers at once whether the event is taken (swallowed).
class KeyEventSource {
public:
    using Handler = std::function<bool(const KeyEvent&)>;

    // Why the last start() failed. A conflict means another program holds the switch
    // shortcut (named in `what`, e.g. "Super+Tab"); otherwise `what` says what is missing.
    struct StartFailure {
        bool conflict = false;
        std::string what;
    };

    virtual ~KeyEventSource() = default;

    // Starts delivering events to the handler; false when the desktop refused (another
    // program holds the switch shortcut, no keyboard access). Safe to call when running.
    virtual bool start(Handler handler) = 0;
    // Stops delivering; nothing is held afterwards. Safe to call when stopped.
    virtual void stop() = 0;
    virtual bool running() const = 0;
    // Nothing after a successful start() or before the first one.
    virtual std::optional<StartFailure> lastFailure() const = 0;
    // While a session is open the source must also bring the keys the switcher may take
    // (Tab, letters, Escape, Space) and the release of the switch key. Called from the
    // handler's thread or the main thread; must not wait for the handler.
    virtual void setSessionKeys(bool wanted) = 0;
};

} // namespace hopla
