#pragma once

#include "appearance/AccentAppearance.h"

#include <QAbstractButton>
#include <QPushButton>
#include <QVariantAnimation>
#include <QWidget>

#include <vector>

namespace hopla {

// One palette of the picker: the palette's icon, its title and, when chosen, a check mark,
// on a tint of the palette's colour.
class PaletteChoice : public QAbstractButton {
    Q_OBJECT
public:
    PaletteChoice(AccentAppearance& appearance, AccentPalette palette, QString language,
                  QWidget* parent = nullptr);
    AccentPalette palette() const { return palette_; }
    bool isSelected() const { return appearance_.selection() == palette_; }
    QSize sizeHint() const override { return {150, 56}; }
    // Follows the appearance's choice (texts for assistive technologies included).
    void refresh();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    AccentAppearance& appearance_;
    AccentPalette palette_;
    QString language_;
};

// The accent picker: a header and the six palettes in two rows of three. A click chooses
// the palette, which recolours the controls and Hopla's icon at once.
class AccentPicker : public QWidget {
    Q_OBJECT
public:
    // `language`: an identifier such as "zh-Hant-TW", or "system".
    AccentPicker(AccentAppearance& appearance, QString language = QStringLiteral("system"),
                 QWidget* parent = nullptr);
    const std::vector<PaletteChoice*>& choices() const { return choices_; }
    QString title() const;

private:
    std::vector<PaletteChoice*> choices_;
    QString title_;
};

// A button tinted with the accent: a soft fill, a fine outline, half opacity when disabled.
class SoftButton : public QPushButton {
    Q_OBJECT
public:
    SoftButton(const QString& text, QColor accent, QWidget* parent = nullptr);
    void setAccent(const QColor& accent);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QColor accent_;
};

// A small spinning arc for work in progress; it turns while it is shown.
class Spinner : public QWidget {
    Q_OBJECT
public:
    explicit Spinner(QWidget* parent = nullptr);
    QSize sizeHint() const override { return {12, 12}; }

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    QVariantAnimation turn_;
};

} // namespace hopla
