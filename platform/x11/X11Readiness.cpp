#include "platform/x11/X11Readiness.h"

#include "platform/x11/XConnection.h"

#include <xcb/xinput.h>
#include <xcb/xtest.h>

namespace hopla::x11 {

ReadinessReport checkReadiness(const QString& qtPlatformName) {
    if (!qtPlatformName.isEmpty() && qtPlatformName != QLatin1String("xcb")) {
        return {
            false,
            QStringLiteral("Hopla runs on the \"%1\" platform, not on X11.").arg(qtPlatformName)};
    }
    std::string error;
    const auto x = XConnection::open(nullptr, &error);
    if (!x) {
        return {false, QString::fromStdString(error)};
    }
    const auto xiCookie = xcb_input_xi_query_version(x->raw(), 2, 2);
    const Reply<xcb_input_xi_query_version_reply_t> xi(
        xcb_input_xi_query_version_reply(x->raw(), xiCookie, nullptr));
    if (!xi || xi->major_version < 2 || (xi->major_version == 2 && xi->minor_version < 2)) {
        return {false,
                QStringLiteral("The X server lacks XInput 2.2, needed to follow the keyboard.")};
    }
    const auto testCookie = xcb_test_get_version(x->raw(), 2, 2);
    const Reply<xcb_test_get_version_reply_t> test(
        xcb_test_get_version_reply(x->raw(), testCookie, nullptr));
    if (!test) {
        return {false, QStringLiteral("The X server lacks the XTEST extension.")};
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
