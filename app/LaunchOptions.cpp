#include "app/LaunchOptions.h"

namespace hopla {

namespace {

std::optional<QString> pathAfter(const QStringList& arguments, const QString& flag) {
    const auto at = arguments.indexOf(flag);
    if (at < 0 || at + 1 >= arguments.size()) {
        return std::nullopt;
    }
    return arguments[at + 1];
}

} // namespace

LaunchOptions LaunchOptions::parse(const QStringList& arguments) {
    LaunchOptions options;
    options.preview = arguments.contains(QStringLiteral("--preview"));
    options.verifyShortcuts = arguments.contains(QStringLiteral("--verify-app-shortcuts"));
    options.verifyDarkTheme = arguments.contains(QStringLiteral("--verify-dark-theme"));
    options.dark = arguments.contains(QStringLiteral("--dark"));
    options.light = arguments.contains(QStringLiteral("--light"));
    options.autostart = arguments.contains(QStringLiteral("--login-item"));
    options.settingsScrollBottom = arguments.contains(QStringLiteral("--settings-scroll-bottom"));
    options.panelScreenshot = pathAfter(arguments, QStringLiteral("--panel-screenshot"));
    options.settingsScreenshot = pathAfter(arguments, QStringLiteral("--settings-screenshot"));
    return options;
}

} // namespace hopla
