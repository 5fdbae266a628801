#include "app/SettingsWidgets.h"

#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>

namespace hopla {

bool isDarkScheme(const QWidget& widget) {
    return widget.palette().color(QPalette::Window).lightness() < 128;
}

Card::Card(QWidget* parent, int padding)
    : QFrame(parent)
    , body_(new QVBoxLayout(this)) {
    body_->setContentsMargins(padding, padding, padding, padding);
    body_->setSpacing(0);
}

void Card::paintEvent(QPaintEvent*) {
    const bool dark = isDarkScheme(*this);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor background = fill ? fill(dark) : QColor(255, 255, 255, dark ? 11 : 204);
    QColor border = palette().color(QPalette::WindowText);
    border.setAlphaF(0.06f);
    painter.setPen(QPen(border, 1));
    painter.setBrush(background);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 16, 16);
}

Switch::Switch(std::function<QColor()> accent, QWidget* parent)
    : QAbstractButton(parent)
    , accent_(std::move(accent)) {
    setCheckable(true);
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::StrongFocus);
}

void Switch::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF track = QRectF(rect()).adjusted(1, 1, -1, -1);
    QColor off = palette().color(QPalette::WindowText);
    off.setAlphaF(0.18f);
    QColor on = accent_();
    if (!isEnabled()) {
        on.setAlphaF(0.4f);
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(isChecked() ? on : off);
    painter.drawRoundedRect(track, track.height() / 2, track.height() / 2);
    const qreal knob = track.height() - 4;
    const qreal x = isChecked() ? track.right() - 2 - knob : track.left() + 2;
    painter.setBrush(Qt::white);
    painter.drawEllipse(QRectF(x, track.top() + 2, knob, knob));
    if (hasFocus()) {
        QColor ring = accent_();
        ring.setAlphaF(0.5f);
        painter.setPen(QPen(ring, 1.5));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(track, track.height() / 2, track.height() / 2);
    }
}

QLabel* symbolLabel(const QString& glyph, QWidget* parent) {
    auto* label = textLabel(glyph, 16, QFont::Medium, true, parent);
    label->setFixedWidth(24);
    label->setAlignment(Qt::AlignCenter);
    label->setAccessibleName(QString()); // decoration
    return label;
}

QLabel* textLabel(const QString& text, qreal points, QFont::Weight weight, bool secondary,
                  QWidget* parent) {
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setPointSizeF(points);
    font.setWeight(weight);
    label->setFont(font);
    label->setWordWrap(true);
    if (secondary) {
        label->setForegroundRole(QPalette::PlaceholderText);
    }
    return label;
}

} // namespace hopla
