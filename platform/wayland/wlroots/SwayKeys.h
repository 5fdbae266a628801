#pragma once

#include "platform/KeyEventSource.h"
#include "platform/wayland/wlroots/SwayIpc.h"

#include <QString>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

namespace hopla::wayland {

class WaylandConnection;
class WaylandSeat;

// The switch keys on sway: Hopla binds the switch modifier with Tab and with the key above
// Tab (by key code, whatever the layout types there) to commands that run nothing, and
// sway tells every press of them as a binding event on its IPC, so no process starts per
// press. The rest of a session's keys (letters, Escape, the modifier's release) reach the
// panel's surface, which holds the keyboard while it is shown: the seat delivers those.
// On other wlroots compositors (no sway IPC) the presses come from the compositor's own
// bindings, which run `hopla --switch`; the running Hopla is handed them (press()).
// Handlers run on the Wayland connection's thread.
class SwayKeys final : public KeyEventSource {
public:
    SwayKeys(WaylandConnection& connection, WaylandSeat& seat);
    ~SwayKeys() override;

    bool start(Handler handler) override;
    void stop() override;
    bool running() const override { return running_.load(); }
    std::optional<StartFailure> lastFailure() const override;
    void setSessionKeys(bool) override {} // the panel's surface brings them while shown
    void setSwitchModifier(SwitchModifier modifier) override;
    SwitchModifier switchModifier() const override;
    std::optional<ShortcutHolder> interceptedBy() const override { return std::nullopt; }
    std::optional<std::string> windowKeyTaken() const override { return std::nullopt; }

    // The configuration lines that bind the keys, as Hopla sends them ("bindcode Mod4+23 …").
    static QStringList bindings(SwitchModifier modifier);
    // The lines a user adds to another compositor's configuration (sway's syntax).
    static QStringList commandBindings(SwitchModifier modifier);
    // A press handed over by `hopla --switch`: "switch", "switch-back", "windows",
    // "windows-back". Any thread; nothing while stopped.
    void press(const QString& action);
    // The session's keys can no longer come (the compositor took the keyboard from the
    // panel): told to the switcher as Escape, so nothing stays held. The connection's thread.
    void cancelSession();

private:
    void fail(StartFailure::Reason reason, std::string what, ShortcutHolder holder = {});
    bool runCommands(const QStringList& commands, QString* error);
    void readEvents(); // the connection's thread
    void deliver(const KeyEvent& event);
    void deliverAction(QStringView action);

    WaylandConnection& connection_;
    WaylandSeat& seat_;
    bool byCommand_ = false; // no sway IPC: presses come through press()
    std::optional<SwayIpc> commands_;
    std::optional<SwayIpc> events_;
    Handler handler_; // the connection's thread once running
    std::atomic<bool> running_{false};
    SwitchModifier modifier_ = SwitchModifier::super; // main thread
    SwitchModifier bound_ = SwitchModifier::super;
    mutable std::mutex lock_;
    std::optional<StartFailure> failure_;
};

} // namespace hopla::wayland
