#include "app/AppController.h"

#include "platform/x11/X11Keyboard.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QPainter>

namespace hopla {

namespace {

// Hopla's own icon for candidates that have none: a blue rounded square with a white H.
QImage fallbackIcon() {
    QImage image(80, 80, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(QColor::fromHsvF(0.64f, 0.8f, 0.85f));
    painter.setPen(Qt::NoPen);
    painter.drawRoundedRect(QRectF(4, 4, 72, 72), 16, 16);
    QFont font;
    font.setPixelSize(44);
    font.setBold(true);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(QRect(0, 0, 80, 80), Qt::AlignCenter, QStringLiteral("H"));
    return image;
}

} // namespace

std::unique_ptr<AppController> AppController::create(QString* error) {
    std::unique_ptr<AppController> app(new AppController);
    std::string reason;
    app->workspace_ = x11::X11Workspace::open(&reason);
    if (app->workspace_) {
        app->windows_ = x11::X11WindowSystem::open(&reason);
    }
    app->panelSupport_ = x11::X11PanelSupport::open();
    if (!app->workspace_ || !app->windows_ || !app->panelSupport_) {
        if (error) {
            *error = QString::fromStdString(reason);
        }
        return nullptr;
    }
    app->autostart_ = std::make_unique<XdgAutostart>(
        QStringLiteral("hopla"), QStringLiteral("Hopla"),
        QStringList{QCoreApplication::applicationFilePath(), QStringLiteral("--login-item")});
    app->preferences_ = std::make_unique<Preferences>(app->settings_, *app->autostart_);

    auto* support = app->panelSupport_.get();
    app->panel_ = std::make_unique<SwitcherPanel>(
        localized("Hopla 应用切换器"), [] { return QColor::fromRgbF(0.125f, 0.42f, 0.682f); },
        false, [](const QString& text) { return localized(text.toUtf8().constData()); },
        fallbackIcon(),
        SwitcherPanelEnvironment{
            &app->scheduler_,
            app->workspace_.get(),
            [support] { return support->compositing(); },
            [support](const QWidget& w) { return support->isViewable(w.winId()); },
            {}});
    app->switcher_ = std::make_unique<ApplicationSwitcherController>(
        *app->panel_, *app->workspace_, *app->windows_, app->scheduler_);
    app->tap_ = std::make_unique<KeyboardTap>(app->keys_, app->scheduler_, x11::readServerLayout);

    AppController* self = app.get();
    app->tap_->onInput = [self](const GestureAction& action) {
        return self->switcher_->route(action);
    };
    app->tap_->isSessionOpen = [self] { return self->switcher_->session().has_value(); };
    app->switcher_->onDismiss = [self] { self->tap_->sessionDismissed(); };
    app->switcher_->onFailure = [self](ApplicationActivationFailure failure) {
        self->report(failure);
    };
    app->trust_ = x11::checkTrust(QGuiApplication::platformName());
    app->permission_ = std::make_unique<PermissionRefresh>(
        *app->tap_, app->keys_, *app->preferences_,
        [self] {
            if (!self->trust_.trusted) {
                return KeyboardTrust{false, self->trust_.reason};
            }
            if (self->workspace_->connectionLost()) {
                return KeyboardTrust{false, localized("与 X 服务器的连接已断开。")};
            }
            return KeyboardTrust{true, {}};
        },
        [self] { self->switcher_->dismiss(); });
    app->preferences_->onEnabledChanged = [self] {
        self->switcher_->dismiss();
        self->refresh();
    };
    app->switcher_->start();
    app->refresh();
    app->refreshTimer_ =
        ScheduledTask(app->scheduler_, app->scheduler_.repeat(refreshInterval, refreshInterval / 10,
                                                              [self] { self->refresh(); }));
    return app;
}

AppController::~AppController() {
    refreshTimer_.reset();
    if (tap_) {
        tap_->stop();
    }
    if (switcher_) {
        switcher_->stop();
    }
}

void AppController::refresh() {
    permission_->run();
}

void AppController::report(ApplicationActivationFailure failure) {
    switch (failure) {
    case ApplicationActivationFailure::unavailable:
        return;
    case ApplicationActivationFailure::requestRejected:
    case ApplicationActivationFailure::foregroundTimeout:
        preferences_->runtimeError = localized("目标应用未能进入前台，请重试。");
        break;
    case ApplicationActivationFailure::windowRestoreFailed:
    case ApplicationActivationFailure::reopenFailed:
        preferences_->runtimeError = localized("应用已切换，但窗口未能打开，请重试。");
        break;
    }
    preferences_->announce();
}

} // namespace hopla
