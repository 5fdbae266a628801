#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace hopla {

// One keyboard event as the switcher sees it: virtual key code (ANSI positions; the keys of
// the switch modifier, Super or Alt, at the positions of VirtualKey::leftSwitchModifier and
// rightSwitchModifier), the modifiers held, and whether it is an auto-repeat.
struct KeyEvent {
    // layoutChanged: the keyboard mapping changed; letters must be looked up afresh.
    enum class Type { keyDown, keyUp, modifiersChanged, layoutChanged };
    Type type = Type::keyDown;
    std::int64_t code = 0;
    bool switchModifier = false;
    bool shift = false;
    bool otherModifier = false; // Alt or Control
    bool repeated = false;
};

// The modifier held while pressing Tab to switch. Super is free on most desktops; Alt
// serves where the user turned off the window manager's own Alt+Tab.
enum class SwitchModifier { super, alt };

// Who holds the switch shortcut when Hopla cannot have it.
struct ShortcutHolder {
    enum class Kind { switcher, windowManager, unknown };
    Kind kind = Kind::unknown;
    std::string name; // "Xfwm4", "alttab"; empty when unknown
    // The window manager can be told to let go of its binding, and Hopla knows how.
    bool releasable = false;
    // Where the binding is written, when it is a line of a file ("~/.fluxbox/keys: Mod4 Tab
    // :NextTab"); empty otherwise.
    std::string line;

    friend bool operator==(const ShortcutHolder&, const ShortcutHolder&) = default;
};

// Where keyboard events come from: the desktop's keyboard, seen on a thread of the
// source's own. The handler answers at once whether the event is taken (swallowed).
class KeyEventSource {
public:
    using Handler = std::function<bool(const KeyEvent&)>;

    // Why the last start() failed.
    struct StartFailure {
        enum class Reason {
            unavailable,   // no keyboard access; `what` says what is missing
            shortcutTaken, // another program holds `what` ("Super+Tab"): see `holder`
            noModifier,    // no key sits on the switch modifier; `what` names it ("Super")
        };
        Reason reason = Reason::unavailable;
        std::string what;
        ShortcutHolder holder;
    };

    virtual ~KeyEventSource() = default;

    // Starts delivering events to the handler; false when the desktop refused (another
    // program holds the switch shortcut, no keyboard access). Safe to call when running.
    virtual bool start(Handler handler) = 0;
    // Stops delivering; nothing is held afterwards. Safe to call when stopped.
    virtual void stop() = 0;
    // Delivering, with the switch shortcut held.
    virtual bool running() const = 0;
    // Nothing after a successful start() or before the first one.
    virtual std::optional<StartFailure> lastFailure() const = 0;
    // While a session is open the source must also bring the keys the switcher may take
    // (Tab, letters, Escape, Space) and the release of the switch key. Called from the
    // handler's thread or the main thread; must not wait for the handler.
    virtual void setSessionKeys(bool wanted) = 0;

    // The modifier the next start() grabs with; a running source keeps its own until then.
    virtual void setSwitchModifier(SwitchModifier modifier) = 0;
    // The modifier of the running source (or of the next start when stopped).
    virtual SwitchModifier switchModifier() const = 0;
    // While running: the switch shortcut was pressed but never arrived, because another
    // program (the window manager) takes the modifier key for itself. Cleared when one
    // arrives again.
    virtual std::optional<ShortcutHolder> interceptedBy() const = 0;
    // While running: the combination of the switch modifier with the key above Tab that
    // another program holds ("Super+`"). Switching applications works without it; switching
    // the frontmost application's windows does not.
    virtual std::optional<std::string> windowKeyTaken() const = 0;
};

} // namespace hopla
