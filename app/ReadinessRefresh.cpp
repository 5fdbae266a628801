#include "app/ReadinessRefresh.h"

namespace hopla {

ReadinessRefresh::ReadinessRefresh(KeyboardTap& tap, KeyEventSource& source,
                                   Preferences& preferences, std::function<Readiness()> readiness,
                                   std::function<void()> dismiss,
                                   std::function<void(bool)> showEnabled)
    : tap_(tap)
    , source_(source)
    , preferences_(preferences)
    , readiness_(std::move(readiness))
    , dismiss_(std::move(dismiss))
    , showEnabled_(std::move(showEnabled)) {}

void ReadinessRefresh::run() {
    const Readiness readiness = readiness_();
    preferences_.displayReady = readiness.ready;
    if (showEnabled_) {
        showEnabled_(preferences_.enabled());
    }
    const auto stopAndDismiss = [this] {
        tap_.stop();
        dismiss_();
    };
    if (readiness.ready && preferences_.enabled()) {
        const SwitchModifier wanted = preferences_.switchModifier();
        if (source_.running() && source_.switchModifier() != wanted) {
            stopAndDismiss(); // a new shortcut: grab it afresh
        }
        source_.setSwitchModifier(wanted);
        // X11 names no owner of a shortcut: a conflict shows up as our grab being refused,
        // so every run tries again and notices when the other program let go.
        preferences_.conflictingApp.reset();
        preferences_.windowManagerConflict.reset();
        preferences_.runtimeError.reset();
        preferences_.windowKeyTaken.reset();
        if (tap_.start()) {
            if (const auto taken = source_.windowKeyTaken()) {
                preferences_.windowKeyTaken = QString::fromStdString(*taken);
            }
            if (const auto holder = source_.interceptedBy()) {
                preferences_.windowManagerConflict =
                    WindowManagerConflict{QString::fromStdString(holder->name),
                                          displayName(wanted) + QStringLiteral("+Tab"),
                                          true,
                                          false,
                                          {}};
            }
        } else {
            publishFailure(source_.lastFailure().value_or(KeyEventSource::StartFailure{}));
            dismiss_();
        }
    } else {
        if (source_.running() || lastPermission_ != readiness.ready) {
            stopAndDismiss();
        }
        preferences_.conflictingApp.reset();
        preferences_.windowManagerConflict.reset();
        preferences_.windowKeyTaken.reset();
        // Linux has no dialog that grants the permission: say what is missing instead.
        preferences_.runtimeError =
            readiness.ready ? std::nullopt : std::optional<QString>(readiness.reason);
    }
    lastPermission_ = readiness.ready;
    preferences_.listening = source_.running();
    preferences_.refreshLoginStatus();
    preferences_.announce();
}

void ReadinessRefresh::publishFailure(const KeyEventSource::StartFailure& failure) {
    using Reason = KeyEventSource::StartFailure::Reason;
    const QString what = QString::fromStdString(failure.what);
    switch (failure.reason) {
    case Reason::shortcutTaken:
        switch (failure.holder.kind) {
        case ShortcutHolder::Kind::switcher:
            preferences_.conflictingApp = QString::fromStdString(failure.holder.name);
            return;
        case ShortcutHolder::Kind::windowManager:
            preferences_.windowManagerConflict = WindowManagerConflict{
                QString::fromStdString(failure.holder.name), what, false, failure.holder.releasable,
                QString::fromStdString(failure.holder.line)};
            return;
        case ShortcutHolder::Kind::unknown:
            preferences_.conflictingApp = localized("占用 %1 的程序").arg(what);
            return;
        }
        return;
    case Reason::noModifier:
        preferences_.runtimeError =
            localized("键盘上没有键被映射为 %1 修饰键，切换无法开始。请检查键盘布局设置。")
                .arg(what);
        return;
    case Reason::unavailable:
        preferences_.runtimeError = localized("键盘监听不可用，请检查权限后重启。");
        return;
    }
}

} // namespace hopla
