#include "core/PanelGeometry.h"

#include <algorithm>

namespace hopla {

PanelGeometry panelGeometry(int count, const std::vector<ScreenArea>& screens, QPoint pointer,
                            std::optional<std::size_t> primary) {
    QRect area(0, 0, 1200, 800);
    const auto under = std::find_if(screens.begin(), screens.end(),
                                    [&](const ScreenArea& s) { return s.frame.contains(pointer); });
    if (under != screens.end()) {
        area = under->available;
    } else if (primary && *primary < screens.size()) {
        area = screens[*primary].available;
    }
    const int content = count * PanelGeometry::tileWidth + PanelGeometry::sideMargin;
    const int maximum =
        std::max(area.width() - PanelGeometry::screenMargin, PanelGeometry::minimumWidth);
    PanelGeometry g;
    g.needsSelectionScrolling = maximum < content;
    const int width = g.needsSelectionScrolling ? maximum : content;
    // The panel's bottom edge lies 78 below the area's vertical middle (y grows downwards).
    const int centreX = area.x() + area.width() / 2;
    const int centreY = area.y() + area.height() / 2;
    g.frame =
        QRect(centreX - width / 2, centreY + PanelGeometry::belowMiddle - PanelGeometry::height,
              width, PanelGeometry::height);
    return g;
}

} // namespace hopla
