#pragma once

namespace hopla {

// Makes Hopla's own buttons (switches, segments, palette choices, soft buttons: button
// classes with Q_OBJECT in the hopla namespace) act on their accessible actions exactly as
// on a click. Qt's own interface toggles a checkable button without clicking it, so a
// screen reader user's "Toggle" changed the picture but not the setting. Once, before the
// first control is made.
void installAccessibleButtons();

} // namespace hopla
