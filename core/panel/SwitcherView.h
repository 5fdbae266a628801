#pragma once

#include "core/PanelModel.h"

#include <QColor>
#include <QImage>
#include <QWidget>

#include <functional>
#include <unordered_map>

namespace hopla {

// Draws the switcher's row of tiles from the panel model: icon, letter badge and name per
// candidate, the selection in the accent colour, a warning mark on a tile whose switch just
// failed. A click on a tile calls the model's onSelect. Painted with QPainter; holds no
// state beyond the scroll offset.
class SwitcherView : public QWidget {
    Q_OBJECT
public:
    // Tile and layout metrics.
    static constexpr int tileWidth = 112;
    static constexpr int rowPadding = 16;
    static constexpr int topPadding = 18;
    static constexpr int iconSize = 80;
    static constexpr int cornerRadius = 24;

    SwitcherView(PanelModel& model, std::function<QColor()> accent, bool badgeUsesAccent,
                 std::function<QString(const QString&)> localize, QImage fallbackIcon,
                 QWidget* parent = nullptr);

    // Hopla's own icon, drawn for candidates without one (it follows the accent palette).
    void setFallbackIcon(QImage icon) {
        fallbackIcon_ = std::move(icon);
        changed();
    }

    // Where the window system keeps the view's image itself: the view then draws into an
    // image of its own and hands it over whenever it changes, instead of painting on
    // screen through Qt. Renders and grabs draw as usual.
    void setImageSink(std::function<void(const QImage& image)> sink) { sink_ = std::move(sink); }
    // With a sink: hands a new image over now if anything changed since the last one.
    void presentChanges();

    // Whether the background is drawn translucent (a compositor will blend it) or opaque.
    void setTranslucentBackground(bool translucent);

    // Where tile i is drawn, in view coordinates, after scrolling.
    QRect tileRect(int index) const;
    // Where tile i's letter badge is drawn.
    QRect badgeRect(int index) const;
    // The accessible label of tile i: name, badge and whether it is selected.
    QString tileLabel(int index) const;
    bool isTileSelected(int index) const;
    // How far the row is scrolled to the left.
    int scrollOffset() const { return scroll_; }

signals:
    // Emitted at the end of every completed paint.
    void painted();

protected:
    void paintEvent(QPaintEvent* event) override;
    // With a sink Qt paints nothing on screen: no engine, and no warning that Qt asked.
    QPaintEngine* paintEngine() const override { return sink_ ? nullptr : QWidget::paintEngine(); }
    const QImage& scaledIcon(const QImage& source, QSize size);
    void mousePressEvent(QMouseEvent* event) override;
    bool event(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void changed();
    void paintContent(QPainter& painter);
    void modelChanged();
    void scrollSelectionIntoSight();
    int rowStart() const;
    QRect failureMarkRect(int index) const;
    QRect iconRect(int index) const;
    QColor accentColour() const;
    void paintTile(QPainter& painter, const AppEntry& entry, int index);

    class ChromeCache {
    public:
        const QImage& background(QSize size, qreal ratio, bool translucent);
        const QImage& highlight(QSize size, qreal ratio, QColor colour);
        const QImage& badge(const QString& text, QSize size, qreal ratio, QColor fill);

    private:
        QImage backdrop_;
        bool translucent_ = false;
        QImage highlight_;
        QColor highlightColour_;
        std::unordered_map<QString, QImage> badges_; // by their text
        qreal badgeRatio_ = 0;
        QColor badgeFill_;
    };

    PanelModel& model_;
    std::function<QColor()> accent_;
    bool badgeUsesAccent_;
    std::function<QString(const QString&)> localize_;
    QImage fallbackIcon_;
    std::unordered_map<qint64, QImage> scaledIcons_; // by the source's cacheKey
    bool translucent_ = true;
    int scroll_ = 0;
    ChromeCache chrome_;
    std::function<void(const QImage&)> sink_;
    QImage image_;              // what the sink was handed last
    bool imageCurrent_ = false; // whether it still shows the model
    QColor imageAccent_;        // the accent it was drawn in

    std::optional<AppHandle> lastSelection_;
};

} // namespace hopla
