#pragma once

#include "updater/SelfUpdater.h"

namespace hopla {

// The updater's modal dialog: title, detail, the release notes when there are some, the
// primary button then the secondary one; brought to the front before it waits.
UpdatePresenter modalUpdateAlert();

} // namespace hopla
