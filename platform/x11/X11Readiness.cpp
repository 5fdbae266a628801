#include "platform/x11/X11Readiness.h"

#include "platform/x11/XConnection.h"

#include <QCoreApplication>

#include <xcb/xinput.h>
#include <xcb/xtest.h>

namespace hopla::x11 {

ReadinessReport checkReadiness(const QString& qtPlatformName) {
    if (!qtPlatformName.isEmpty() && qtPlatformName != QLatin1String("xcb")) {
        return {false,
                QCoreApplication::translate(
                    "Hopla", "Hopla 运行在 Qt 的“%1”平台上，而不是 X11：它看不到这个桌面的按键。")
                    .arg(qtPlatformName)};
    }
    std::string error;
    const auto x = XConnection::open(nullptr, &error);
    if (!x) {
        return {false, QCoreApplication::translate("Hopla", "无法连接 X 服务器：%1")
                           .arg(QString::fromStdString(error))};
    }
    const auto xiCookie = xcb_input_xi_query_version(x->raw(), 2, 2);
    const Reply<xcb_input_xi_query_version_reply_t> xi(
        xcb_input_xi_query_version_reply(x->raw(), xiCookie, nullptr));
    if (!xi || xi->major_version < 2 || (xi->major_version == 2 && xi->minor_version < 2)) {
        return {false, QCoreApplication::translate(
                           "Hopla", "X 服务器缺少 XInput 2.2 扩展，Hopla 需要它来跟随键盘。")};
    }
    const auto testCookie = xcb_test_get_version(x->raw(), 2, 2);
    const Reply<xcb_test_get_version_reply_t> test(
        xcb_test_get_version_reply(x->raw(), testCookie, nullptr));
    if (!test) {
        return {false, QCoreApplication::translate("Hopla", "X 服务器缺少 XTEST 扩展。")};
    }
    return {true, {}};
}

std::optional<QString> displayProblem() {
    std::string error;
    if (XConnection::answers(nullptr, &error)) {
        return std::nullopt;
    }
    return QString::fromStdString(error);
}

} // namespace hopla::x11
