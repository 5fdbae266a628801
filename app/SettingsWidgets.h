#pragma once

#include <QAbstractButton>
#include <QFrame>
#include <QLabel>
#include <QToolButton>
#include <QWidget>

#include <functional>

class QVBoxLayout;

namespace hopla {

// Whether the settings window is drawn in its dark scheme.
bool isDarkScheme(const QWidget& widget);

// A card: 16-pixel padding on a rounded (16) translucent white fill with a faint border.
class Card : public QFrame {
public:
    explicit Card(QWidget* parent = nullptr, int padding = 16);
    QVBoxLayout* body() const { return body_; }
    // Overrides the fill (the shortcut card uses the accent colour).
    std::function<QColor(bool dark)> fill;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QVBoxLayout* body_;
};

// An on/off switch: a pill with a knob, in the accent colour when on.
class Switch : public QAbstractButton {
    Q_OBJECT
public:
    explicit Switch(std::function<QColor()> accent, QWidget* parent = nullptr);
    QSize sizeHint() const override { return {38, 22}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::function<QColor()> accent_;
};

// One choice of a row of segments (exclusive, in a button group).
class SegmentButton : public QToolButton {
    Q_OBJECT
public:
    using QToolButton::QToolButton;
};

// A small round glyph standing for a row's subject.
QLabel* symbolLabel(const QString& glyph, QWidget* parent);
// A text label in the given point size and weight, optionally in the secondary colour.
QLabel* textLabel(const QString& text, qreal points, QFont::Weight weight, bool secondary,
                  QWidget* parent);

} // namespace hopla
