#include "app/PermissionRefresh.h"

namespace hopla {

PermissionRefresh::PermissionRefresh(KeyboardTap& tap, KeyEventSource& source,
                                     Preferences& preferences, std::function<KeyboardTrust()> trust,
                                     std::function<void()> dismiss)
    : tap_(tap)
    , source_(source)
    , preferences_(preferences)
    , trust_(std::move(trust))
    , dismiss_(std::move(dismiss)) {}

void PermissionRefresh::run() {
    const KeyboardTrust trust = trust_();
    preferences_.trusted = trust.trusted;
    if (showEnabled) {
        showEnabled(preferences_.enabled());
    }
    const auto stopAndDismiss = [this] {
        tap_.stop();
        dismiss_();
    };
    if (trust.trusted && preferences_.enabled()) {
        // X11 names no owner of a shortcut: a conflict shows up as our grab being refused,
        // so every run tries again and notices when the other program let go.
        if (tap_.start()) {
            preferences_.conflictingApp.reset();
            preferences_.runtimeError.reset();
        } else if (const auto failure = source_.lastFailure(); failure && failure->conflict) {
            preferences_.conflictingApp =
                localized("占用 %1 的程序").arg(QString::fromStdString(failure->what));
            preferences_.runtimeError.reset();
            dismiss_();
        } else {
            preferences_.conflictingApp.reset();
            preferences_.runtimeError = localized("键盘监听不可用，请检查权限后重启。");
            dismiss_();
        }
    } else {
        if (source_.running() || lastPermission_ != trust.trusted) {
            stopAndDismiss();
        }
        preferences_.conflictingApp.reset();
        // Linux has no dialog that grants the permission: say what is missing instead.
        preferences_.runtimeError =
            trust.trusted ? std::nullopt : std::optional<QString>(trust.reason);
    }
    lastPermission_ = trust.trusted;
    preferences_.listening = source_.running();
    preferences_.refreshLoginStatus();
    preferences_.announce();
}

} // namespace hopla
