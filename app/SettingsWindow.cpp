#include "app/SettingsWindow.h"

#include "appearance/AppearanceAudit.h"
#include "appearance/MenuStyle.h"

#include <QAction>
#include <QGuiApplication>
#include <QScreen>
#include <QVBoxLayout>

#include <algorithm>

namespace hopla {

int settingsWindowHeight(std::optional<int> availableHeight) {
    constexpr int tallest = 880;
    return availableHeight ? std::min(*availableHeight - 80, tallest) : tallest;
}

SettingsWindow::SettingsWindow(Preferences& preferences, AccentAppearance& appearance,
                               SelfUpdater& updater, Actions actions)
    : preferences_(preferences)
    , appearance_(appearance)
    , updater_(updater)
    , actions_(std::move(actions)) {}

SettingsWindow::~SettingsWindow() = default;

void SettingsWindow::show() {
    if (!window_) {
        window_ = std::make_unique<QWidget>();
        window_->setWindowTitle(QStringLiteral("Hopla"));
        window_->setWindowIcon(QPixmap::fromImage(appearance_.applicationIcon()));
        view_ = new SettingsView(
            preferences_, appearance_, updater_,
            {actions_.requestPermission, actions_.quit, actions_.releaseShortcut}, window_.get());
        auto* layout = new QVBoxLayout(window_.get());
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(view_);
        const QScreen* screen = QGuiApplication::primaryScreen();
        const int height = settingsWindowHeight(
            screen ? std::optional(screen->availableGeometry().height()) : std::nullopt);
        window_->setFixedSize(width, height);
        if (screen) {
            QRect frame(QPoint(), window_->size());
            frame.moveCenter(screen->availableGeometry().center());
            window_->move(frame.topLeft());
        }
        // Window commands, as the close and edit commands are: actions with their keys.
        const auto bind = [this](QKeySequence keys, std::function<void()> run) {
            auto* action = new QAction(window_.get());
            action->setShortcut(keys);
            action->setShortcutContext(Qt::WindowShortcut);
            QObject::connect(action, &QAction::triggered, window_.get(), [run] {
                if (run) {
                    run();
                }
            });
            window_->addAction(action);
        };
        bind(QKeySequence(Qt::CTRL | Qt::Key_Comma), actions_.showSettings);
        WindowCommands::install(*window_, &localized);
        EditingCommands::install(*window_, &localized);
        bind(QKeySequence(Qt::CTRL | Qt::Key_Q), actions_.quit);
        QObject::connect(&appearance_, &AccentAppearance::selectionChanged, window_.get(), [this] {
            window_->setWindowIcon(QPixmap::fromImage(appearance_.applicationIcon()));
        });
    }
    preferences_.refreshLoginStatus();
    view_->refresh();
    // A window mapped now gets the focus from the window manager. Asking for it before the map
    // would be answered only once the map comes back, taking the focus from any window opened
    // in between; so only a window already up (behind others or minimized) is brought forward.
    const bool alreadyUp = window_->isVisible();
    window_->show();
    if (alreadyUp) {
        window_->raise();
        window_->activateWindow();
    }
}

bool SettingsWindow::capture(const QString& path, bool scrollToBottom) const {
    if (!window_) {
        return false;
    }
    AppearanceAudit::scroll(*window_, scrollToBottom);
    return window_->grab().toImage().save(path, "PNG");
}

} // namespace hopla
