#pragma once

namespace hopla {

// What assistive technologies (through AT-SPI) see of Hopla's own controls, installed once
// before the first control is made:
// - its buttons (switches, segments, palette choices, soft buttons: button classes with
//   Q_OBJECT in the hopla namespace) act on their accessible actions exactly as on a click.
//   Qt's own interface toggles a checkable button without clicking it, so a screen reader
//   user's "Toggle" changed the picture but not the setting;
// - the drawn menu is a popup menu whose rows are menu items (checked when chosen).
void installAccessibility();

} // namespace hopla
