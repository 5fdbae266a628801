#include "core/panel/SwitcherPanel.h"

#include <QCursor>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainterPath>
#include <QScreen>

#include <algorithm>

namespace hopla {

namespace {

// A window Qt never paints into: what it shows comes from the window system.
class ImageWindow final : public QWidget {
public:
    using QWidget::QWidget;
    QPaintEngine* paintEngine() const override { return nullptr; }
};

} // namespace

SwitcherPanel::SwitcherPanel(QString accessibilityLabel, std::function<QColor()> accent,
                             bool badgeUsesAccent, std::function<QString(const QString&)> localize,
                             QImage fallbackIcon, SwitcherPanelEnvironment environment)
    : accessibilityLabel_(std::move(accessibilityLabel))
    , environment_(std::move(environment)) {
    if (!environment_.pointer) {
        environment_.pointer = [] { return QCursor::pos(); };
    }
    if (!environment_.isOnScreen) {
        environment_.isOnScreen = [](const QWidget& w) { return w.isVisible(); };
    }
    window_ = makeWindow();
    view_ = new SwitcherView(model_, std::move(accent), badgeUsesAccent, std::move(localize),
                             std::move(fallbackIcon),
                             window_.get()); // owned by its window
    if (environment_.windowImage) {
        // Qt gives the view a native window of its own inside the panel's: that window is
        // what shows the image.
        view_->setImageSink(
            [this](const QImage& image) { environment_.windowImage(*view_, image); });
    }
    if (environment_.runningApps) {
        spaceObserver_ = environment_.runningApps->observe(
            {.activated = nullptr,
             .terminated = nullptr,
             .sessionResignedActive = nullptr,
             .activeSpaceChanged = [this] { needsSpaceRebuild_ = true; }});
    }
}

SwitcherPanel::~SwitcherPanel() = default;

std::unique_ptr<QWidget> SwitcherPanel::makeWindow() const {
    // Override-redirect and focus-refusing: the window manager never gives it the focus and
    // showing it never activates Hopla; clicks still reach it.
    const auto flags = Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                       Qt::X11BypassWindowManagerHint | Qt::WindowDoesNotAcceptFocus;
    std::unique_ptr<QWidget> window;
    if (environment_.windowImage) {
        window = std::make_unique<ImageWindow>(nullptr, flags);
        window->setAttribute(Qt::WA_PaintOnScreen); // no backing store: nothing to flush
    } else {
        window = std::make_unique<QWidget>(nullptr, flags);
    }
    window->setAttribute(Qt::WA_ShowWithoutActivating);
    window->setAttribute(Qt::WA_X11DoNotAcceptFocus);
    window->setFocusPolicy(Qt::NoFocus);
    window->setAccessibleName(accessibilityLabel_);
    window->setWindowTitle(accessibilityLabel_);
    return window;
}

void SwitcherPanel::show(const SwitchSession& session, const IconMap& icons) {
    load(session, icons);
    window_->setWindowOpacity(1.0);
    window_->setAttribute(Qt::WA_TransparentForMouseEvents, false);
    presented_ = true;
    present();
    verifyOnScreen(verifyAttempts);
}

void SwitcherPanel::prepare(const SwitchSession& session, const IconMap& icons) {
    if (presented_ || !environment_.windowImage) {
        return; // without a window image there is nothing to draw ahead
    }
    load(session, icons);
    if (!environment_.showSurface) {
        view_->winId();
    }
    view_->presentChanges(); // the unmapped window holds the image until it is shown
}

namespace {
// Whether both hold the same images for the same candidates (by Qt's cache keys: a copy
// of an image shares its key, a changed image gets a new one).
bool sameIcons(const IconMap& a, const IconMap& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const auto& x, const auto& y) {
        return x.first == y.first && x.second.cacheKey() == y.second.cacheKey();
    });
}
} // namespace

void SwitcherPanel::load(const SwitchSession& session, const IconMap& icons) {
    rebuildForCurrentSpaceIfNeeded();
    const bool translucent = environment_.compositing && environment_.compositing();
    const bool restyled = translucent != translucent_ || !loaded_;
    if (restyled) {
        translucent_ = translucent;
        window_->setAttribute(Qt::WA_TranslucentBackground, translucent_);
        view_->setTranslucentBackground(translucent_);
    }
    // What is already there stays: a prepared panel is shown without drawing it again.
    if (!sameIcons(model_.icons(), icons)) {
        model_.setIcons(icons);
    }
    if (model_.failedId()) {
        model_.setFailedId(std::nullopt);
    }
    if (!loaded_ || !(model_.session() == session)) {
        model_.setSession(session);
    }
    loaded_ = true;
    resize(static_cast<int>(session.apps().size()), restyled);
}

void SwitcherPanel::update(const SwitchSession& session) {
    const auto before = model_.session().apps().size();
    model_.setSession(session);
    if (session.apps().size() != before) {
        resize(static_cast<int>(session.apps().size()), false);
    }
    present();
}

void SwitcherPanel::update(const IconMap& icons) {
    model_.setIcons(icons);
    present();
}

void SwitcherPanel::hide() {
    presented_ = false;
    if (environment_.hideSurface) {
        environment_.hideSurface();
        return;
    }
    window_->hide();
}

void SwitcherPanel::click(QPoint at) {
    if (!presented_) {
        return;
    }
    QMouseEvent press(QEvent::MouseButtonPress, at, view_->mapToGlobal(at), Qt::LeftButton,
                      Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(view_, &press);
}

void SwitcherPanel::present() {
    if (!presented_) {
        return;
    }
    if (environment_.showSurface) {
        view_->presentChanges();
        environment_.showSurface();
        return;
    }
    if (environment_.windowImage) {
        view_->winId(); // the native window, to hold the image before it is mapped
        view_->presentChanges();
    }
    if (!window_->isVisible()) {
        window_->show();
    }
    window_->raise();
    if (!environment_.windowImage) {
        view_->repaint(); // a full layout and paint now, not at some later turn
    }
}

void SwitcherPanel::verifyOnScreen(int attempts) {
    if (!presented_ || attempts < 1 || !environment_.scheduler) {
        return;
    }
    environment_.scheduler->after(verifyDelay, [self = lifetime_.weak(this), attempts] {
        auto* panel = self.get();
        if (!panel || !panel->presented_ || panel->environment_.isOnScreen(*panel->window_)) {
            return;
        }
        panel->hide(); // shown again from scratch: the server lost it
        panel->presented_ = true;
        panel->present();
        panel->verifyOnScreen(attempts - 1);
    });
}

void SwitcherPanel::resize(int count, bool reshape) {
    std::vector<ScreenArea> screens;
    std::optional<std::size_t> primary;
    const auto all = QGuiApplication::screens();
    for (qsizetype i = 0; i < all.size(); ++i) {
        screens.push_back({all[i]->geometry(), all[i]->availableGeometry()});
        if (all[i] == QGuiApplication::primaryScreen()) {
            primary = static_cast<std::size_t>(i);
        }
    }
    const PanelGeometry geometry = panelGeometry(count, screens, environment_.pointer(), primary);
    if (environment_.showSurface) {
        // The display server puts the surface on an output of its choosing: drawn for the
        // sharpest one, it is sharp on each (a finer image is scaled down, never up).
        QScreen* sharpest = QGuiApplication::primaryScreen();
        for (QScreen* screen : all) {
            if (sharpest && screen->devicePixelRatio() > sharpest->devicePixelRatio()) {
                sharpest = screen;
            }
        }
        if (sharpest && window_->screen() != sharpest) {
            window_->setScreen(sharpest);
        }
    }
    if (model_.needsSelectionScrolling() != geometry.needsSelectionScrolling) {
        model_.setNeedsSelectionScrolling(geometry.needsSelectionScrolling);
    }
    if (window_->geometry() != geometry.frame) {
        reshape = reshape || window_->size() != geometry.frame.size();
        window_->setGeometry(geometry.frame);
        view_->setGeometry(0, 0, geometry.frame.width(), geometry.frame.height());
    }
    if (reshape) {
        applyShape();
    }
}

void SwitcherPanel::applyShape() {
    if (translucent_) {
        window_->clearMask();
        return;
    }
    // Without a compositor the corners are cut off instead of drawn transparent.
    QPainterPath shape;
    shape.addRoundedRect(QRectF(window_->rect()), SwitcherView::cornerRadius,
                         SwitcherView::cornerRadius);
    window_->setMask(QRegion(shape.toFillPolygon().toPolygon()));
}

void SwitcherPanel::rebuildForCurrentSpaceIfNeeded() {
    if (!needsSpaceRebuild_) {
        return;
    }
    needsSpaceRebuild_ = false;
    auto fresh = makeWindow();
    window_->hide();
    view_->setParent(fresh.get()); // the view and its model survive the rebuild
    view_->show();
    window_ = std::move(fresh);
    loaded_ = false; // a new window: its look, size and shape are set again
}

bool SwitcherPanel::capture(const QString& path) const {
    const QImage image = view_->grab().toImage();
    return !image.isNull() && image.save(path, "PNG");
}

} // namespace hopla
