#include "platform/x11/X11Backend.h"

#include "platform/x11/ShortcutHolders.h"
#include "platform/x11/SyntheticKeys.h"
#include "platform/x11/X11KeyEventSource.h"
#include "platform/x11/X11Keyboard.h"
#include "platform/x11/X11PanelSupport.h"
#include "platform/x11/X11Readiness.h"
#include "platform/x11/X11RunningApps.h"
#include "platform/x11/X11WindowSystem.h"
#include "platform/x11/XConnection.h"

#include <QCoreApplication>
#include <QCursor>
#include <QGuiApplication>

namespace hopla::x11 {

std::unique_ptr<X11Backend> X11Backend::open(std::string* error) {
    std::unique_ptr<X11Backend> backend(new X11Backend);
    backend->runningApps_ = X11RunningApps::open(error);
    if (backend->runningApps_) {
        backend->windows_ = X11WindowSystem::open(backend->runningApps_->owners(), error);
    }
    backend->panel_ = X11PanelSupport::open();
    if (!backend->runningApps_ || !backend->windows_ || !backend->panel_) {
        return nullptr;
    }
    backend->keys_ = std::make_unique<X11KeyEventSource>();
    const ReadinessReport report = checkReadiness(QGuiApplication::platformName());
    backend->server_ = {report.ready, report.reason};
    return backend;
}

X11Backend::~X11Backend() = default;

RunningApps& X11Backend::runningApps() {
    return *runningApps_;
}

WindowSystem& X11Backend::windows() {
    return *windows_;
}

KeyEventSource& X11Backend::keys() {
    return *keys_;
}

std::optional<KeyLetters> X11Backend::letters() {
    return readServerLetters();
}

Readiness X11Backend::readiness() {
    if (!server_.ready) {
        return server_;
    }
    if (runningApps_->connectionLost()) {
        return {false, QCoreApplication::translate("Hopla", "与 X 服务器的连接已断开。")};
    }
    return {true, {}};
}

QString X11Backend::requirements() const {
    return QCoreApplication::translate(
        "Hopla", "Hopla 需要在 X11 会话中运行，且 X 服务器提供 XInput 2.2 和 XTEST。");
}

void X11Backend::setIconSize(int pixels) {
    runningApps_->setIconSize(pixels);
}

void X11Backend::noteSwitchKey() {
    runningApps_->setUserTime(keys_->lastKeyTime());
    windows_->setUserTime(keys_->lastKeyTime());
}

std::optional<QString> X11Backend::releaseShortcut(const QString& modifier) {
    return releaseWindowManagerBinding(modifier);
}

std::unique_ptr<SyntheticKeyboard> X11Backend::syntheticKeyboard(std::string* error) {
    return SyntheticKeys::open(error);
}

bool X11Backend::compositing() const {
    return panel_->compositing();
}

void X11Backend::recheckCompositing() {
    panel_->recheckCompositing();
}

bool X11Backend::isOnScreen(WId window) {
    return panel_->isViewable(window);
}

QPoint X11Backend::pointer() {
    const auto atKey = keys_->lastKeyPointer(); // where it was at the key, without a round trip
    return atKey ? X11PanelSupport::fromServerPixels(*atKey) : QCursor::pos();
}

bool X11Backend::holdsImages() const {
    return panel_->holdsImages();
}

void X11Backend::setWindowImage(WId window, const QImage& image) {
    panel_->setWindowImage(window, image);
}

} // namespace hopla::x11
