#include "app/BackendChoice.h"

#include "app/Preferences.h"

namespace hopla {

SessionFacts SessionFacts::current(const QString& qtPlatform) {
    const auto env = [](const char* name) { return qEnvironmentVariable(name); };
    return {env("WAYLAND_DISPLAY"), env("XDG_SESSION_TYPE"), env("XDG_CURRENT_DESKTOP"),
            env("DISPLAY"), qtPlatform};
}

BackendChoice chooseBackend(const SessionFacts& session) {
    const bool wayland =
        !session.waylandDisplay.isEmpty() ||
        session.sessionType.compare(QLatin1String("wayland"), Qt::CaseInsensitive) == 0;
    if (wayland) {
        if (session.qtPlatform == QLatin1String("xcb")) {
            // Through Xwayland Hopla sees X11 windows only and none of the compositor's keys.
            return {Backend::none, false,
                    localized("这是 Wayland 会话，而 Hopla 运行在 Xwayland 上（QT_QPA_PLATFORM="
                              "xcb）：它看不到合成器的按键和 Wayland 窗口。请去掉 "
                              "QT_QPA_PLATFORM=xcb 后重新启动 Hopla。")};
        }
        const bool kde = session.currentDesktop.split(QLatin1Char(':'))
                             .contains(QLatin1String("KDE"), Qt::CaseInsensitive);
        if (kde) {
            return {Backend::kde, false,
                    localized("Hopla 还不能在 KDE Plasma 的 Wayland 会话中切换应用。请登录 X11 "
                              "会话使用 Hopla。")};
        }
        return {Backend::wlroots, true, {}};
    }
    if (session.display.isEmpty()) {
        return {Backend::none, false,
                localized("没有图形会话：DISPLAY 和 WAYLAND_DISPLAY 都未设置。")};
    }
    if (!session.qtPlatform.isEmpty() && session.qtPlatform != QLatin1String("xcb")) {
        return {Backend::none, false,
                localized("Hopla 运行在“%1”平台上，而不是 X11。").arg(session.qtPlatform)};
    }
    return {Backend::x11, true, {}};
}

} // namespace hopla
