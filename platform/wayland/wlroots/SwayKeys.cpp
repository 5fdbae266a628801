#include "platform/wayland/wlroots/SwayKeys.h"

#include "platform/VirtualKeys.h"
#include "platform/wayland/WaylandConnection.h"
#include "platform/wayland/WaylandSeat.h"

namespace hopla::wayland {

namespace {

constexpr auto commandLimit = std::chrono::seconds(2);
// X keycodes (evdev + 8) of Tab and of the key above it.
constexpr int tabKeycode = 23;
constexpr int aboveTabKeycode = 49;
const QString commandPrefix = QStringLiteral("nop hopla-");

QString modifierName(SwitchModifier modifier) {
    return modifier == SwitchModifier::alt ? QStringLiteral("Mod1") : QStringLiteral("Mod4");
}

struct BoundKey {
    const char* action;
    int keycode;
    bool shift;
};
constexpr BoundKey boundKeys[] = {{"switch", tabKeycode, false},
                                  {"switch-back", tabKeycode, true},
                                  {"windows", aboveTabKeycode, false},
                                  {"windows-back", aboveTabKeycode, true}};

QString combo(SwitchModifier modifier, const BoundKey& key) {
    return modifierName(modifier) + (key.shift ? QStringLiteral("+Shift+") : QStringLiteral("+")) +
           QString::number(key.keycode);
}

} // namespace

SwayKeys::SwayKeys(WaylandConnection& connection, WaylandSeat& seat)
    : connection_(connection)
    , seat_(seat) {}

SwayKeys::~SwayKeys() {
    stop();
}

QStringList SwayKeys::bindings(SwitchModifier modifier) {
    QStringList lines;
    for (const BoundKey& key : boundKeys) {
        lines << QStringLiteral("bindcode %1 %2%3")
                     .arg(combo(modifier, key), commandPrefix, QLatin1String(key.action));
    }
    return lines;
}

QStringList SwayKeys::commandBindings(SwitchModifier modifier) {
    const QString mod = modifierName(modifier);
    return {QStringLiteral("bindsym %1+Tab exec hopla --switch").arg(mod),
            QStringLiteral("bindsym %1+Shift+Tab exec hopla --switch-back").arg(mod),
            QStringLiteral("bindcode %1+49 exec hopla --switch-windows").arg(mod),
            QStringLiteral("bindcode %1+Shift+49 exec hopla --switch-windows-back").arg(mod)};
}

std::optional<KeyEventSource::StartFailure> SwayKeys::lastFailure() const {
    std::lock_guard guard(lock_);
    return failure_;
}

void SwayKeys::fail(StartFailure::Reason reason, std::string what, ShortcutHolder holder) {
    std::lock_guard guard(lock_);
    failure_ = StartFailure{reason, std::move(what), std::move(holder)};
}

void SwayKeys::setSwitchModifier(SwitchModifier modifier) {
    modifier_ = modifier;
}

SwitchModifier SwayKeys::switchModifier() const {
    return running_ ? bound_ : modifier_;
}

bool SwayKeys::runCommands(const QStringList& commands, QString* error) {
    const auto reply = commands_->request(SwayMessageType::runCommand,
                                          commands.join(QLatin1Char(';')).toUtf8(), commandLimit);
    if (!reply) {
        *error = SwayIpc::description(commands_->failure().value_or(SwayIpc::Failure::closed));
        return false;
    }
    for (const CommandResult& result : commandResults(*reply)) {
        if (!result.success) {
            *error = result.error;
            return false;
        }
    }
    return true;
}

bool SwayKeys::start(Handler handler) {
    if (running_) {
        return true;
    }
    byCommand_ = SwayIpc::socketPath().isEmpty();
    if (byCommand_) {
        connection_.run([this, handler = std::move(handler)]() mutable {
            handler_ = std::move(handler);
            seat_.onKey = [this](const KeyEvent& event) { deliver(event); };
        });
        bound_ = modifier_;
        seat_.setSwitchModifier(bound_);
        running_ = true;
        return true;
    }
    QString error;
    commands_ = SwayIpc::connect(SwayIpc::socketPath(), &error);
    events_ = commands_ ? SwayIpc::connect(SwayIpc::socketPath(), &error) : std::nullopt;
    if (!commands_ || !events_ || !events_->subscribe({QStringLiteral("binding")})) {
        fail(StartFailure::Reason::unavailable, ("sway IPC: " + error).toStdString());
        commands_.reset();
        events_.reset();
        return false;
    }
    // A binding of the user's own for the same keys is theirs: name it, take nothing.
    const QString name =
        modifier_ == SwitchModifier::alt ? QStringLiteral("Alt+Tab") : QStringLiteral("Super+Tab");
    if (const auto config = commands_->request(SwayMessageType::getConfig, {}, commandLimit)) {
        const QString text = configText(*config).value_or(QString());
        const QString symbolic = modifierName(modifier_) + QStringLiteral("+Tab");
        const auto taken = boundCommand(text, symbolic);
        if (taken && !taken->startsWith(commandPrefix)) {
            fail(StartFailure::Reason::shortcutTaken, name.toStdString(),
                 {ShortcutHolder::Kind::windowManager,
                  QStringLiteral("sway (%1)").arg(*taken).toStdString(), false, ""});
            commands_.reset();
            events_.reset();
            return false;
        }
    }
    if (!runCommands(bindings(modifier_), &error)) {
        fail(StartFailure::Reason::unavailable, ("sway: " + error).toStdString());
        commands_.reset();
        events_.reset();
        return false;
    }
    bound_ = modifier_;
    seat_.setSwitchModifier(bound_);
    connection_.run([this, handler = std::move(handler)]() mutable {
        handler_ = std::move(handler);
        seat_.onKey = [this](const KeyEvent& event) { deliver(event); };
        connection_.watch(events_->fd(), [this] { readEvents(); });
    });
    {
        std::lock_guard guard(lock_);
        failure_.reset();
    }
    running_ = true;
    return true;
}

void SwayKeys::stop() {
    if (!running_.exchange(false)) {
        return;
    }
    connection_.run([this] {
        if (events_) {
            connection_.unwatch(events_->fd());
        }
        seat_.onKey = nullptr;
        handler_ = nullptr;
    });
    if (byCommand_) {
        return;
    }
    QStringList unbind;
    for (const BoundKey& key : boundKeys) {
        unbind << QStringLiteral("unbindcode ") + combo(bound_, key);
    }
    QString ignored; // sway may be gone already: nothing is left bound then
    runCommands(unbind, &ignored);
    commands_.reset();
    events_.reset();
}

void SwayKeys::deliver(const KeyEvent& event) {
    if (handler_) {
        handler_(event);
    }
}

void SwayKeys::press(const QString& action) {
    if (running_) {
        connection_.post([this, action] { deliverAction(action); });
    }
}

void SwayKeys::cancelSession() {
    KeyEvent escape;
    escape.type = KeyEvent::Type::keyDown;
    escape.code = keyCode(VirtualKey::escape);
    deliver(escape);
    escape.type = KeyEvent::Type::keyUp;
    deliver(escape);
}

void SwayKeys::deliverAction(QStringView action) {
    KeyEvent event;
    event.type = KeyEvent::Type::keyDown;
    event.switchModifier = true;
    event.shift = action.endsWith(QLatin1String("-back"));
    event.code = action.startsWith(QLatin1String("windows")) ? keyCode(VirtualKey::aboveTab)
                                                             : keyCode(VirtualKey::tab);
    deliver(event);
    // The compositor keeps the key from every client: its release is never seen, so it is
    // told here.
    event.type = KeyEvent::Type::keyUp;
    deliver(event);
}

void SwayKeys::readEvents() {
    for (const SwayIpc::Message& message : events_->readAvailable()) {
        if (message.type != SwayMessageType::bindingEvent) {
            continue;
        }
        const auto command = bindingCommand(message.payload);
        if (!command || !command->startsWith(commandPrefix)) {
            continue;
        }
        deliverAction(QStringView(*command).mid(commandPrefix.size()));
    }
    if (events_->closed()) {
        connection_.unwatch(events_->fd()); // sway went away; nothing more will come
    }
}

} // namespace hopla::wayland
