#pragma once

#include <QPoint>
#include <QRect>

#include <optional>
#include <vector>

namespace hopla {

// Where the switcher panel goes and how wide it is.
struct PanelGeometry {
    static constexpr int tileWidth = 112;
    static constexpr int sideMargin = 40; // 16 of row padding each side, and 4 more each side
    static constexpr int height = 156;
    static constexpr int belowMiddle = 78;
    static constexpr int screenMargin = 80;
    static constexpr int minimumWidth = 200;

    QRect frame;
    bool needsSelectionScrolling = false;

    friend bool operator==(const PanelGeometry&, const PanelGeometry&) = default;
};

// One screen as the panel sees it: its whole area and the part not taken by panels and docks.
struct ScreenArea {
    QRect frame;
    QRect available;
};

// The panel for `count` candidates: on the screen under the pointer, else the primary one
// (else a 1200×800 area at the origin), as wide as the tiles need up to the screen's width
// less 80 (never under 200), centred on the available area: 156 high, its bottom edge 78
// below the area's middle. Screen coordinates grow downwards, as in Qt.
PanelGeometry panelGeometry(int count, const std::vector<ScreenArea>& screens, QPoint pointer,
                            std::optional<std::size_t> primary);

} // namespace hopla
