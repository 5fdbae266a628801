#pragma once

namespace hopla {

// Makes each tile of a SwitcherView one accessible list item labelled "name，badge" (with
// "，已选中" when selected) for screen readers. Safe to call more than once.
void installSwitcherAccessibility();

} // namespace hopla
