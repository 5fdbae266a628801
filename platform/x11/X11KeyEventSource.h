#pragma once

#include "platform/KeyEventSource.h"
#include "platform/WakeupEvent.h"
#include "platform/x11/X11Keyboard.h"

#include <QPoint>
#include <QString>

#include <atomic>
#include <bitset>
#include <memory>
#include <mutex>
#include <thread>

namespace hopla::x11 {

class XConnection;

// The desktop's keyboard on X11, for the keyboard tap. On a thread of its own with its own
// connection: passive grabs of Super+Tab and Super+Shift+Tab open a session, and hold the
// keyboard still until the session's own grab is in place, so no key typed right after Tab
// slips past to the application. While a session is open that active grab brings every key
// (also those the window manager binds, such as Super+D under openbox), and keys the
// switcher passes are handed on to the focused client through XTEST with the grab briefly
// let go. The release of Super is seen as a key release under the grab, or found from the
// key state right after the grab is taken.
class X11KeyEventSource final : public KeyEventSource {
public:
    X11KeyEventSource();
    ~X11KeyEventSource() override;

    bool start(Handler handler) override;
    void stop() override;
    bool running() const override { return running_ && grabsHeld_; }
    void setSessionKeys(bool wanted) override;

    // Whether the session's keyboard grab is in place (every key comes here).
    bool holdsKeyboard() const { return keyboardHeld_; }

    std::optional<StartFailure> lastFailure() const override;
    void setSwitchModifier(SwitchModifier modifier) override { requested_ = modifier; }
    SwitchModifier switchModifier() const override { return running_ ? active_ : requested_; }
    std::optional<ShortcutHolder> interceptedBy() const override;
    std::optional<std::string> windowKeyTaken() const override;

    // The X server time of the latest key event seen (0 before the first): what a switch
    // the user just asked for passes to the window manager.
    std::uint32_t lastKeyTime() const { return lastKeyTime_.load(std::memory_order_relaxed); }
    // Where the pointer was at the latest key event, in the root window's pixels; none before
    // the first. The screen a switch shows on, known without asking the server.
    std::optional<QPoint> lastKeyPointer() const;

private:
    void run();
    void handleEvent(const void* event);
    // The whole keyboard for this client, held still when `frozen` until events are allowed;
    // false when someone else has it.
    bool grabKeyboard(bool frozen);
    void takeKeyboard();
    void releaseKeyboard();
    void applySessionRequest();
    void thawKeyboard();
    void keyboardMappingChanged();
    void forward(std::uint8_t type, std::uint8_t keycode);
    bool isModifierKey(std::uint8_t keycode) const;
    bool isSwitchKey(std::uint8_t keycode) const;
    // The switch grabs for the current keyboard and modifier; a failure when impossible.
    std::optional<StartFailure> grabSwitchKeys(const ServerKeyboard& keyboard);
    void watchRawKeys();
    void handleRawKey(bool press, std::uint8_t keycode);

    Handler handler_;
    std::unique_ptr<XConnection> x_;
    std::optional<ServerKeyboard> keyboard_;
    struct Grabs;
    std::unique_ptr<Grabs> grabs_;
    std::thread thread_;
    std::unique_ptr<WakeupEvent> wake_; // wakes the thread for a session request or to stop
    std::atomic<bool> running_ = false;
    std::atomic<bool> grabsHeld_ = false; // lost when the keymap leaves no way to grab
    std::atomic<SwitchModifier> requested_ = SwitchModifier::super;
    std::atomic<SwitchModifier> active_ = SwitchModifier::super;
    // Raw key events (XInput 2) arrive whatever holds a grab: they tell a Super+Tab that
    // the window manager kept from us.
    std::uint8_t xinputOpcode_ = 0;
    std::bitset<256> rawDown_;
    bool tabAwaited_ = false; // a switch Tab was pressed; its core event has not come
    bool tabMissed_ = false;  // one never came: judged when the switch modifier is let go
    std::atomic<bool> intercepted_ = false;
    // Whether nobody holds the keyboard now (a probe grab of our own succeeds).
    bool keyboardFree();
    ShortcutHolder windowManager_; // read at start, named when a switch Tab goes astray
    std::atomic<bool> stopping_ = false;
    std::atomic<int> wantSession_ = 0; // requested from any thread, applied on the event thread
    bool keyboardTaken_ = false;
    // A switch grab froze the keyboard on a key: once the key is decided the keyboard goes
    // on, and a key the switcher did not take is delivered as if never grabbed.
    enum class Frozen { no, onTakenKey, onPassedKey };
    Frozen frozen_ = Frozen::no;
    std::atomic<bool> keyboardHeld_ = false; // keyboardTaken_, readable from other threads
    std::bitset<256> down_;                  // keycodes held, to tell auto-repeats from new presses
    std::uint8_t xkbEventBase_ = 0;          // where XKB's events start; 0 without XKB
    std::atomic<std::uint32_t> lastKeyTime_ = 0;
    std::atomic<std::uint64_t> lastKeyPointer_ = 0; // 1 << 32 | x << 16 | y; 0: no key yet
    mutable std::mutex failureMutex_;
    std::optional<StartFailure> failure_;
    std::optional<std::string> windowKeyTaken_; // guarded by failureMutex_ too
};

} // namespace hopla::x11
