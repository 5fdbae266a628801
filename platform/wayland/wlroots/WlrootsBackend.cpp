#include "platform/wayland/wlroots/WlrootsBackend.h"

#include "platform/wayland/LayerPanel.h"
#include "platform/wayland/WaylandConnection.h"
#include "platform/wayland/WaylandRunningApps.h"
#include "platform/wayland/WaylandSeat.h"
#include "platform/wayland/WaylandWindows.h"
#include "platform/wayland/wlroots/ForeignToplevels.h"
#include "platform/wayland/wlroots/SwayIpc.h"
#include "platform/wayland/wlroots/SwayKeys.h"

#include <QCoreApplication>
#include <QCursor>
#include <QGuiApplication>
#include <QMetaObject>

namespace hopla::wayland {

namespace {
QString tr(const char* text) {
    return QCoreApplication::translate("Hopla", text);
}

// sway keeps the order in which its windows had the focus: the first switch goes to the
// application used before the current one, not to the one started last.
std::vector<std::pair<QString, QString>> initialOrder() {
    QString ignored;
    auto ipc = SwayIpc::connect(SwayIpc::socketPath(), &ignored);
    const auto tree =
        ipc ? ipc->request(SwayMessageType::getTree, {}, std::chrono::seconds(1)) : std::nullopt;
    std::vector<std::pair<QString, QString>> order;
    for (const SwayWindow& w : windowsByFocus(tree.value_or(QByteArray()))) {
        order.emplace_back(w.appId, w.title);
    }
    return order;
}
} // namespace

std::unique_ptr<WlrootsBackend> WlrootsBackend::open(std::string* error) {
    std::unique_ptr<WlrootsBackend> backend(new WlrootsBackend);
    backend->connection_ = WaylandConnection::open(error);
    if (!backend->connection_) {
        return nullptr;
    }
    WaylandConnection& connection = *backend->connection_;
    backend->seat_ = WaylandSeat::bind(connection);
    backend->panel_ = LayerPanel::bind(connection);
    backend->toplevels_ =
        ForeignToplevels::bind(connection, backend->seat_ ? backend->seat_->seat() : nullptr);
    const char* missing = !backend->seat_        ? "wl_seat"
                          : !backend->panel_     ? "zwlr_layer_shell_v1"
                          : !backend->toplevels_ ? "zwlr_foreign_toplevel_manager_v1"
                                                 : nullptr;
    if (missing) {
        if (error) {
            *error = std::string("the compositor does not offer ") + missing;
        }
        return nullptr;
    }
    // A panel that holds the keyboard would keep it from the application asked forward.
    backend->toplevels_->beforeActivating = [panel = backend->panel_.get()] {
        panel->releaseKeyboard();
    };
    // The seat's keymap and the toplevels known so far, before the thread takes over.
    connection.roundtrip();
    connection.roundtrip();
    connection.start();
    backend->apps_ = std::make_unique<WaylandRunningApps>(
        *backend->toplevels_, QGuiApplication::desktopFileName(), initialOrder());
    backend->windows_ = std::make_unique<WaylandWindows>(*backend->apps_);
    backend->keys_ = std::make_unique<SwayKeys>(connection, *backend->seat_);
    connection.run(
        [panel = backend->panel_.get(), keys = backend->keys_.get(), seat = backend->seat_.get()] {
            seat->onKeyboardLeave = [panel, keys](wl_surface* surface) {
                if (surface == panel->surface() && panel->holdsKeyboard()) {
                    keys->cancelSession();
                }
            };
        });
    return backend;
}

WlrootsBackend::~WlrootsBackend() {
    // Also a backend that failed to open half way comes here: only what was made goes.
    if (connection_ && seat_) {
        connection_->run([this] { // nothing the seat calls outlives this
            seat_->onKeyboardLeave = nullptr;
            seat_->onClick = nullptr;
        });
    }
    keys_.reset();
    windows_.reset();
    apps_.reset();
    if (connection_ && panel_) {
        connection_->run([this] { panel_->hide(); });
    }
    if (connection_) {
        connection_->stop(); // nothing is dispatched from here on: the objects go on this thread
    }
    toplevels_.reset();
    panel_.reset();
    seat_.reset();
}

RunningApps& WlrootsBackend::runningApps() {
    return *apps_;
}

WindowSystem& WlrootsBackend::windows() {
    return *windows_;
}

KeyEventSource& WlrootsBackend::keys() {
    return *keys_;
}

std::optional<KeyLetters> WlrootsBackend::letters() {
    return seat_->letters();
}

Readiness WlrootsBackend::readiness() {
    if (connection_->lost()) {
        return {false, tr("与 Wayland 合成器的连接已断开。")};
    }
    if (SwayIpc::socketPath().isEmpty() && !pressHandedOver_) {
        // Without sway's IPC the compositor's own bindings start the switch: say which.
        return {
            false,
            tr("请在合成器的配置中加入以下按键绑定，重新载入配置后按一次 "
               "Super+Tab：\n%1")
                .arg(SwayKeys::commandBindings(keys_->switchModifier()).join(QLatin1Char('\n')))};
    }
    return {true, {}};
}

QString WlrootsBackend::requirements() const {
    return tr("Hopla 需要 sway（或其他 wlroots 合成器），它提供 wlr-layer-shell 和 "
              "wlr-foreign-toplevel-management 协议。");
}

void WlrootsBackend::setIconSize(int pixels) {
    apps_->setIconSize(pixels);
}

std::optional<QString> WlrootsBackend::releaseShortcut(const QString&) {
    return tr("请在 sway 的配置文件中删除这个按键绑定，然后运行 swaymsg reload。");
}

std::unique_ptr<SyntheticKeyboard> WlrootsBackend::syntheticKeyboard(std::string* error) {
    if (error) {
        *error = "a Wayland compositor takes no synthetic keys from its clients";
    }
    return nullptr;
}

void WlrootsBackend::switchKeyPressed(const QString& action) {
    pressHandedOver_ = true;
    keys_->press(action);
}

bool WlrootsBackend::isOnScreen(WId) {
    return panel_->isShown();
}

QPoint WlrootsBackend::pointer() {
    return QCursor::pos();
}

void WlrootsBackend::setWindowImage(WId, const QImage& image) {
    connection_->post([this, image] { panel_->setImage(image); });
}

void WlrootsBackend::showPanel() {
    connection_->post([this] { panel_->show(); });
}

void WlrootsBackend::hidePanel() {
    connection_->post([this] { panel_->hide(); });
}

void WlrootsBackend::setClickHandler(std::function<void(QPoint)> handler) {
    auto* context = apps_.get(); // a main-thread object that lives as long as the panel
    connection_->run([this, context, handler = std::move(handler)] {
        seat_->onClick = [this, context, handler](wl_surface* surface, QPointF at) {
            if (surface != panel_->surface()) {
                return;
            }
            QMetaObject::invokeMethod(
                context, [handler, at] { handler(at.toPoint()); }, Qt::QueuedConnection);
        };
    });
}

} // namespace hopla::wayland
