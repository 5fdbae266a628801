#include "core/panel/SwitcherView.h"

#include "core/panel/SwitcherAccessibility.h"

#include <QAccessible>
#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QToolTip>

#include <algorithm>

namespace hopla {

namespace {

constexpr int tileTopPadding = 8;
constexpr int iconBottomPadding = 13;
constexpr int nameGap = 4;
constexpr int tileSidePadding = 5;
constexpr int tileHeight =
    tileTopPadding + SwitcherView::iconSize + iconBottomPadding + nameGap + 13 + tileTopPadding;
constexpr int failureMarkSize = 18;

QFont badgeFont() {
    QFont font;
    font.setPixelSize(18);
    font.setWeight(QFont::Medium);
    return font;
}

QFont nameFont() {
    QFont font;
    font.setPixelSize(11);
    font.setWeight(QFont::Medium);
    return font;
}

// Draws an image in bands of at most 64 pixel rows. Qt's raster engine hands a blend of
// more than about a hundred rows to its thread pool in pieces and waits for them; on a
// busy desktop with two cores the wait for those threads costs more than the blend.
void drawInBands(QPainter& painter, QPoint at, const QImage& image) {
    constexpr int band = 64;
    const qreal ratio = image.devicePixelRatio();
    for (int y = 0; y < image.height(); y += band) {
        const QRect source(0, y, image.width(), std::min(band, image.height() - y));
        painter.drawImage(
            QRectF(QPointF(at) + QPointF(0, y / ratio), QSizeF(source.size()) / ratio), image,
            source);
    }
}

// A rounded rectangle filling an otherwise clear image of `size` points at the device pixel
// ratio, outlined by `outline` (its outer half-pixel kept inside) unless that is NoPen.
QImage plate(QSize size, qreal ratio, qreal radius, const QColor& fill, const QPen& outline) {
    QImage image(size * ratio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QRectF bounds{QPointF(), QSizeF(size)};
    if (outline.style() != Qt::NoPen) {
        bounds.adjust(0.5, 0.5, -0.5, -0.5);
    }
    QPainterPath shape;
    shape.addRoundedRect(bounds, radius, radius);
    painter.fillPath(shape, fill);
    painter.setPen(outline);
    painter.drawPath(shape);
    return image;
}

// Whether a cached image no longer fits the size and ratio asked for.
bool outdated(const QImage& image, QSize size, qreal ratio) {
    return image.isNull() || image.size() != size * ratio || image.devicePixelRatio() != ratio;
}

QColor withAlpha(QColor colour, double alpha) {
    colour.setAlphaF(static_cast<float>(alpha));
    return colour;
}

} // namespace

SwitcherView::SwitcherView(PanelModel& model, std::function<QColor()> accent, bool badgeUsesAccent,
                           std::function<QString(const QString&)> localize, QImage fallbackIcon,
                           QWidget* parent)
    : QWidget(parent)
    , model_(model)
    , accent_(std::move(accent))
    , badgeUsesAccent_(badgeUsesAccent)
    , localize_(std::move(localize))
    , fallbackIcon_(std::move(fallbackIcon)) {
    setAttribute(Qt::WA_OpaquePaintEvent, false);
    setFocusPolicy(Qt::NoFocus);
    // The failure mark's tool tip: hovering must reach the view, and the panel never becomes
    // the active window, which is where Qt shows tool tips otherwise.
    setMouseTracking(true);
    setAttribute(Qt::WA_AlwaysShowToolTips);
    installSwitcherAccessibility();
    connect(&model_, &PanelModel::changed, this, &SwitcherView::modelChanged);
}

void SwitcherView::setTranslucentBackground(bool translucent) {
    translucent_ = translucent;
    setAttribute(Qt::WA_TranslucentBackground, translucent); // so captures keep the corners clear
    changed();
}

int SwitcherView::rowStart() const {
    const int count = static_cast<int>(model_.session().apps().size());
    const int row = count * tileWidth + 2 * rowPadding;
    if (row <= width()) {
        return (width() - row) / 2 + rowPadding; // everything fits: centred
    }
    return rowPadding - scroll_;
}

QRect SwitcherView::tileRect(int index) const {
    return QRect(rowStart() + index * tileWidth, topPadding, tileWidth, tileHeight);
}

QRect SwitcherView::failureMarkRect(int index) const {
    const QRect tile = tileRect(index);
    return QRect(tile.right() - 5 - failureMarkSize + 1, tile.top() + 5, failureMarkSize,
                 failureMarkSize);
}

QRect SwitcherView::iconRect(int index) const {
    const QRect tile = tileRect(index);
    return QRect(tile.center().x() - iconSize / 2 + 1, tile.top() + tileTopPadding, iconSize,
                 iconSize);
}

QRect SwitcherView::badgeRect(int index) const {
    const auto& apps = model_.session().apps();
    if (index < 0 || index >= static_cast<int>(apps.size())) {
        return {};
    }
    // Centred over the icon's lower edge, its bottom on the bottom of the padding below it.
    const QFontMetrics metrics(badgeFont());
    const QString badge = model_.session().badge(apps[static_cast<std::size_t>(index)]);
    if (badge.isEmpty()) {
        return {}; // a window's tile has none
    }
    const QSize size(metrics.horizontalAdvance(badge) + 20, metrics.height() + 6);
    const QRect icon = iconRect(index);
    return QRect(icon.center().x() - size.width() / 2,
                 icon.bottom() + 1 + iconBottomPadding - size.height(), size.width(),
                 size.height());
}

bool SwitcherView::isTileSelected(int index) const {
    const auto& apps = model_.session().apps();
    return index >= 0 && index < static_cast<int>(apps.size()) &&
           model_.session().selectedId() == apps[static_cast<std::size_t>(index)].id;
}

QString SwitcherView::tileLabel(int index) const {
    const auto& apps = model_.session().apps();
    if (index < 0 || index >= static_cast<int>(apps.size())) {
        return {};
    }
    const AppEntry& entry = apps[static_cast<std::size_t>(index)];
    const bool selected = model_.session().selectedId() == entry.id;
    const QString badge = model_.session().badge(entry);
    return (badge.isEmpty() ? entry.name
                            : localize_(QStringLiteral("%1，%2")).arg(entry.name, badge)) +
           (selected ? localize_(QStringLiteral("，已选中")) : QString());
}

void SwitcherView::modelChanged() {
    const auto selection = model_.session().selectedId();
    if (selection != lastSelection_) {
        lastSelection_ = selection;
        scrollSelectionIntoSight();
        QAccessibleEvent focus(this, QAccessible::Selection);
        if (QAccessible::isActive()) {
            QAccessible::updateAccessibility(&focus);
        }
    }
    changed();
}

void SwitcherView::changed() {
    imageCurrent_ = false;
    update();
}

void SwitcherView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    imageCurrent_ = false;
    scrollSelectionIntoSight();
}

void SwitcherView::scrollSelectionIntoSight() {
    const auto& apps = model_.session().apps();
    const auto selection = model_.session().selectedId();
    if (!model_.needsSelectionScrolling() || !selection) {
        return; // when everything fits, selection changes never scroll
    }
    const auto it = std::find_if(apps.begin(), apps.end(),
                                 [&](const AppEntry& e) { return e.id == *selection; });
    if (it == apps.end()) {
        return;
    }
    const int index = static_cast<int>(it - apps.begin());
    const int row = static_cast<int>(apps.size()) * tileWidth + 2 * rowPadding;
    const int centre = rowPadding + index * tileWidth + tileWidth / 2;
    scroll_ = std::clamp(centre - width() / 2, 0, std::max(0, row - width()));
}

// Large antialiased shapes are what a paint of the panel spends its time on: Qt splits their
// fills across its thread pool and waits for the pieces, which on a busy desktop means
// waiting for other threads to be scheduled. The background with its outline and the
// selection's highlight are therefore drawn once per size and colour and blitted after.
const QImage& SwitcherView::ChromeCache::background(QSize size, qreal ratio, bool translucent) {
    if (outdated(backdrop_, size, ratio) || translucent_ != translucent) {
        translucent_ = translucent;
        // Dark glass, translucent where a compositor blends it, solid otherwise, with an 18%
        // white outline.
        backdrop_ = plate(size, ratio, cornerRadius,
                          translucent ? QColor(28, 28, 30, 222) : QColor(36, 36, 38),
                          QPen(QColor(255, 255, 255, 46), 1));
    }
    return backdrop_;
}

const QImage& SwitcherView::ChromeCache::highlight(QSize size, qreal ratio, QColor colour) {
    if (outdated(highlight_, size, ratio) || highlightColour_ != colour) {
        highlightColour_ = colour;
        highlight_ = plate(size, ratio, 15, colour, Qt::NoPen);
    }
    return highlight_;
}

const QImage& SwitcherView::ChromeCache::badge(const QString& text, QSize size, qreal ratio,
                                               QColor fill) {
    if (badgeRatio_ != ratio || badgeFill_ != fill || badges_.size() > 64) {
        badges_.clear();
        badgeRatio_ = ratio;
        badgeFill_ = fill;
    }
    QImage& image = badges_[text];
    if (outdated(image, size, ratio)) {
        image = plate(size, ratio, 8, fill, QPen(QColor(255, 255, 255, 153), 1));
        QPainter painter(&image);
        painter.setRenderHint(QPainter::TextAntialiasing);
        painter.setPen(Qt::white);
        painter.setFont(badgeFont());
        painter.drawText(QRect(QPoint(), size), Qt::AlignCenter, text);
    }
    return image;
}

void SwitcherView::paintEvent(QPaintEvent*) {
    if (sink_ && !redirected(nullptr)) {
        // The window system redraws what it was handed: Qt has nothing to paint, and only
        // a change of the view's own makes a new image.
        presentChanges();
        return;
    }
    QPainter painter(this);
    paintContent(painter);
    painter.end();
    emit painted();
}

void SwitcherView::presentChanges() {
    // The accent is read, not told: an image drawn in an older one is outdated too.
    if (!sink_ || (imageCurrent_ && accentColour() == imageAccent_)) {
        return;
    }
    imageAccent_ = accentColour();
    const qreal ratio = devicePixelRatioF();
    const QSize pixels = size() * ratio;
    const auto format = translucent_ ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32;
    if (image_.size() != pixels || image_.format() != format) {
        image_ = QImage(pixels, format);
    }
    image_.setDevicePixelRatio(ratio);
    image_.fill(Qt::transparent); // the corners, cut away or left clear
    QPainter painter(&image_);
    paintContent(painter);
    painter.end();
    imageCurrent_ = true;
    sink_(image_);
    emit painted();
}

void SwitcherView::paintContent(QPainter& painter) {
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform |
                           QPainter::TextAntialiasing);
    if (translucent_) { // the cached background blends over what the window held
        painter.setCompositionMode(QPainter::CompositionMode_Source);
    }
    drawInBands(painter, QPoint(), chrome_.background(size(), devicePixelRatioF(), translucent_));
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    // Tiles scrolled to the edge stop short of the rounded corners. A rectangle clips at no
    // cost; an antialiased path clip would cost more than the whole paint.
    const int inset = cornerRadius - static_cast<int>(cornerRadius / 1.4142);
    painter.setClipRect(rect().adjusted(inset, 0, -inset, 0));
    const auto& apps = model_.session().apps();
    for (int i = 0; i < static_cast<int>(apps.size()); ++i) {
        if (tileRect(i).intersects(rect())) {
            paintTile(painter, apps[static_cast<std::size_t>(i)], i);
        }
    }
}

const QImage& SwitcherView::scaledIcon(const QImage& source, QSize size) {
    // Icons are scaled smoothly once, not at every paint.
    const qreal ratio = devicePixelRatioF();
    const QSize pixels = size * ratio;
    if (source.size() == pixels && qFuzzyCompare(source.devicePixelRatio(), ratio)) {
        return source;
    }
    if (scaledIcons_.size() > 256) {
        scaledIcons_.clear(); // icons of applications long gone
    }
    auto [it, added] = scaledIcons_.try_emplace(source.cacheKey());
    if (added || it->second.size() != pixels) {
        it->second = source.scaled(pixels, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        it->second.setDevicePixelRatio(ratio);
    }
    return it->second;
}

QColor SwitcherView::accentColour() const {
    return accent_ ? accent_() : QColor(10, 132, 255);
}

void SwitcherView::paintTile(QPainter& painter, const AppEntry& entry, int index) {
    const QRect tile = tileRect(index);
    const bool selected = model_.session().selectedId() == entry.id;
    const QColor accent = accentColour();
    if (selected) {
        drawInBands(painter, tile.topLeft(),
                    chrome_.highlight(tile.size(), devicePixelRatioF(), withAlpha(accent, 0.20)));
    }

    const QRect icon = iconRect(index);
    const auto found = model_.icons().find(entry.id);
    const QImage& image =
        found != model_.icons().end() && !found->second.isNull() ? found->second : fallbackIcon_;
    if (!image.isNull()) {
        painter.drawImage(icon.topLeft(), scaledIcon(image, icon.size()));
    } else { // not even our own icon: a neutral plate, never a blank tile
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(120, 120, 128));
        painter.drawRoundedRect(icon.adjusted(6, 6, -6, -6), 16, 16);
    }

    // The badge sits centred over the icon's lower edge.
    if (const QRect badge = badgeRect(index); !badge.isEmpty()) {
        painter.drawImage(
            badge.topLeft(),
            chrome_.badge(model_.session().badge(entry), badge.size(), devicePixelRatioF(),
                          badgeUsesAccent_ ? withAlpha(accent, 0.88) : QColor(0, 0, 0, 166)));
    }

    // The name, one line, cut in the middle.
    painter.setFont(nameFont());
    const QFontMetrics nameMetrics(painter.font());
    const int nameWidth = tileWidth - 2 * tileSidePadding;
    const QRect nameRect(tile.left() + tileSidePadding,
                         icon.bottom() + 1 + iconBottomPadding + nameGap, nameWidth,
                         nameMetrics.height());
    painter.setPen(withAlpha(Qt::white, selected ? 1.0 : 0.6));
    painter.drawText(nameRect, Qt::AlignHCenter | Qt::AlignTop,
                     nameMetrics.elidedText(entry.name, Qt::ElideMiddle, nameWidth));

    if (model_.failedId() == entry.id) {
        const QRect mark = failureMarkRect(index);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(255, 149, 0));
        painter.drawEllipse(mark);
        painter.setPen(QPen(Qt::white, 2, Qt::SolidLine, Qt::RoundCap));
        const int cx = mark.center().x();
        painter.drawLine(cx, mark.top() + 4, cx, mark.top() + 10);
        painter.drawPoint(cx, mark.top() + 13);
    }
}

void SwitcherView::mousePressEvent(QMouseEvent* event) {
    const auto& apps = model_.session().apps();
    for (int i = 0; i < static_cast<int>(apps.size()); ++i) {
        if (tileRect(i).contains(event->position().toPoint())) {
            if (model_.onSelect) {
                model_.onSelect(apps[static_cast<std::size_t>(i)].id);
            }
            event->accept();
            return;
        }
    }
    QWidget::mousePressEvent(event);
}

bool SwitcherView::event(QEvent* event) {
    if (event->type() == QEvent::ParentChange) {
        imageCurrent_ = false; // a new window holds no image yet
    }
    if (event->type() == QEvent::ToolTip) {
        const auto* help = static_cast<QHelpEvent*>(event);
        const auto& apps = model_.session().apps();
        for (int i = 0; i < static_cast<int>(apps.size()); ++i) {
            if (model_.failedId() == apps[static_cast<std::size_t>(i)].id &&
                failureMarkRect(i).contains(help->pos())) {
                QToolTip::showText(help->globalPos(),
                                   localize_(QStringLiteral("暂时无法切换，请重试")), this);
                return true;
            }
        }
        QToolTip::hideText();
        event->ignore();
        return true;
    }
    return QWidget::event(event);
}

} // namespace hopla
