#include "appearance/Controls.h"

#include <QGridLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>

namespace hopla {

namespace {

struct PickerTexts {
    const char* title;
    const char* subtitle;
    const char* accessibleSuffix;
    const char* selected;
    const char* notSelected;
};

PickerTexts pickerTexts(const QString& language) {
    switch (appearanceLanguageFrom(language)) {
    case AppearanceLanguage::simplifiedChinese:
        return {"图标与高亮色", "同步更改应用图标，以及按钮、开关和选中状态的颜色。", "图标颜色",
                "已选择", "未选择"};
    case AppearanceLanguage::traditionalChinese:
        return {"圖示與強調色", "同步更改 App 圖示，以及按鈕、開關和選取狀態的顏色。", "圖示顏色",
                "已選取", "未選取"};
    case AppearanceLanguage::english:
        break;
    }
    return {"Icon & Accent Color",
            "Update the app icon and the color of buttons, switches, and selected states together.",
            " icon color", "Selected", "Not selected"};
}

QFont pixelFont(int pixels, QFont::Weight weight = QFont::Normal) {
    QFont font;
    font.setPixelSize(pixels);
    font.setWeight(weight);
    return font;
}

QColor withAlpha(QColor color, double alpha) {
    color.setAlphaF(static_cast<float>(alpha));
    return color;
}

} // namespace

// --- the picker -----------------------------------------------------------------------

PaletteChoice::PaletteChoice(AccentAppearance& appearance, AccentPalette palette, QString language,
                             QWidget* parent)
    : QAbstractButton(parent)
    , appearance_(appearance)
    , palette_(palette)
    , language_(std::move(language)) {
    setText(title(palette_, language_));
    setCursor(Qt::PointingHandCursor);
    setFixedHeight(56);
    setMinimumWidth(120);
    connect(this, &QAbstractButton::clicked, this, [this] { appearance_.select(palette_); });
    refresh();
}

void PaletteChoice::refresh() {
    const PickerTexts texts = pickerTexts(language_);
    setAccessibleName(text() + QString::fromUtf8(texts.accessibleSuffix));
    setAccessibleDescription(QString::fromUtf8(isSelected() ? texts.selected : texts.notSelected));
    update();
}

void PaletteChoice::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    const bool selected = isSelected();
    const QColor tint = color(palette_);
    QPainterPath shape;
    const qreal line = selected ? 1.5 : 1.0;
    shape.addRoundedRect(QRectF(rect()).adjusted(line / 2, line / 2, -line / 2, -line / 2), 11, 11);
    painter.fillPath(shape, withAlpha(tint, selected ? 0.12 : 0.045));
    painter.setPen(QPen(withAlpha(tint, selected ? 0.62 : 0.12), line));
    painter.drawPath(shape);

    const QRect icon(11, (height() - 38) / 2, 38, 38);
    painter.drawImage(icon, appearance_.icon(palette_));
    painter.setFont(pixelFont(12, selected ? QFont::DemiBold : QFont::Normal));
    painter.setPen(QWidget::palette().color(QPalette::WindowText));
    const QRect titleBox(icon.right() + 11, 0, width() - icon.right() - 11 - 11 - 18 - 10,
                         height());
    painter.drawText(titleBox, Qt::AlignLeft | Qt::AlignVCenter,
                     painter.fontMetrics().elidedText(text(), Qt::ElideRight, titleBox.width()));
    if (selected) { // a filled circle with a check mark, in the palette's colour
        const QRectF mark(width() - 11 - 16, (height() - 16) / 2.0, 16, 16);
        painter.setPen(Qt::NoPen);
        painter.setBrush(tint);
        painter.drawEllipse(mark);
        QPainterPath tick;
        tick.moveTo(mark.left() + 4.2, mark.top() + 8.4);
        tick.lineTo(mark.left() + 7, mark.top() + 11);
        tick.lineTo(mark.left() + 11.8, mark.top() + 5.4);
        painter.setPen(QPen(Qt::white, 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.setBrush(Qt::NoBrush);
        painter.drawPath(tick);
    }
    if (hasFocus()) { // reached from the keyboard: Space chooses it
        painter.setPen(QPen(QWidget::palette().color(QPalette::Highlight), 2));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), 11, 11);
    }
}

AccentPicker::AccentPicker(AccentAppearance& appearance, QString language, QWidget* parent)
    : QWidget(parent) {
    const PickerTexts texts = pickerTexts(language);
    title_ = QString::fromUtf8(texts.title);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(14);
    auto* header = new QVBoxLayout;
    header->setSpacing(4);
    auto* titleLabel = new QLabel(title_, this);
    titleLabel->setFont(pixelFont(13, QFont::DemiBold));
    auto* subtitle = new QLabel(QString::fromUtf8(texts.subtitle), this);
    subtitle->setFont(pixelFont(11));
    subtitle->setWordWrap(true);
    subtitle->setForegroundRole(QPalette::PlaceholderText);
    header->addWidget(titleLabel);
    header->addWidget(subtitle);
    column->addLayout(header);
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(10);
    grid->setVerticalSpacing(10);
    int index = 0;
    for (const AccentPalette palette : allAccentPalettes) {
        auto* choice = new PaletteChoice(appearance, palette, language, this);
        grid->addWidget(choice, index / 3, index % 3);
        choices_.push_back(choice);
        ++index;
    }
    column->addLayout(grid);
    connect(&appearance, &AccentAppearance::selectionChanged, this, [this] {
        for (PaletteChoice* choice : choices_) {
            choice->refresh();
        }
    });
}

QString AccentPicker::title() const {
    return title_;
}

// --- the soft button ------------------------------------------------------------------

SoftButton::SoftButton(const QString& text, QColor accent, QWidget* parent)
    : QPushButton(text, parent)
    , accent_(accent) {
    setFont(pixelFont(13, QFont::Medium));
    setCursor(Qt::PointingHandCursor);
}

void SoftButton::setAccent(const QColor& accent) {
    accent_ = accent;
    update();
}

QSize SoftButton::sizeHint() const {
    const QFontMetrics metrics(font());
    return {metrics.horizontalAdvance(text()) + 28, metrics.height() + 16};
}

void SoftButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setOpacity(isEnabled() ? 1.0 : 0.5);
    QPainterPath shape;
    shape.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 8, 8);
    painter.fillPath(shape, withAlpha(accent_, isDown() ? 0.16 : 0.10));
    painter.setPen(QPen(withAlpha(accent_, 0.22), 1));
    painter.drawPath(shape);
    painter.setPen(palette().color(QPalette::ButtonText));
    painter.setFont(font());
    painter.drawText(rect(), Qt::AlignCenter, text());
}

// --- the spinner ----------------------------------------------------------------------

Spinner::Spinner(QWidget* parent)
    : QWidget(parent) {
    setFixedSize(12, 12);
    turn_.setStartValue(0.0);
    turn_.setEndValue(360.0);
    turn_.setDuration(800);
    turn_.setLoopCount(-1);
    connect(&turn_, &QVariantAnimation::valueChanged, this, [this] { update(); });
}

void Spinner::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    turn_.start();
}

void Spinner::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    turn_.stop(); // no wakeups for a spinner nobody sees
}

void Spinner::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(width() / 2.0, height() / 2.0);
    painter.rotate(turn_.currentValue().toDouble());
    painter.setPen(QPen(withAlpha(palette().color(QPalette::WindowText), 0.75), 2, Qt::SolidLine,
                        Qt::RoundCap));
    const QRectF circle(-5, -5, 10, 10);
    // From 5% to 80% of the circle: Qt counts sixteenths of a degree, anticlockwise.
    painter.drawArc(circle, static_cast<int>(-0.05 * 360 * 16), static_cast<int>(-0.75 * 360 * 16));
}

} // namespace hopla
