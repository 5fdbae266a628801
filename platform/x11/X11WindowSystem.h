#pragma once

#include "platform/WindowAccess.h"
#include "platform/x11/ClientWindows.h"
#include "platform/x11/WindowOwners.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>

namespace hopla::x11 {

class XConnection;

// Asks the window manager to make the window active, as a pager acting for the user does
// (source 2), going to its desktop first when it lives on another one. `time` is the
// triggering key's, so focus-stealing prevention lets it through.
void requestActivation(XConnection& x, const ClientWindow& window, ServerTime time);

// Window access over EWMH on a connection of its own, for the window restorer's worker
// thread. Minimized: _NET_WM_STATE_HIDDEN or WM_STATE Iconic. Unminimize: ask the window
// manager to activate the window, then wait briefly for it to be shown.
class X11WindowSystem final : public WindowSystem {
public:
    // Nothing, with the reason, without an X server. `owners` says which windows are whose.
    static std::unique_ptr<X11WindowSystem> open(std::shared_ptr<const WindowOwners> owners,
                                                 std::string* error);

    ~X11WindowSystem() override;

    std::unique_ptr<ApplicationWindows> windowsOf(AppHandle application) override;
    // The X server time of the user's latest key, for activation requests.
    void setUserTime(ServerTime time) { userTime_ = time; }

private:
    friend class X11ApplicationWindows;
    X11WindowSystem(std::unique_ptr<XConnection> x, std::shared_ptr<const WindowOwners> owners);

    std::mutex mutex_; // one request sequence at a time on the shared connection
    std::unique_ptr<XConnection> x_;
    std::shared_ptr<const WindowOwners> owners_;
    std::atomic<ServerTime> userTime_ = currentTime;
};

} // namespace hopla::x11
