#pragma once

#include "updater/NativeUpdater.h"

namespace hopla {

// The updater's modal dialog: title, detail, the release notes when there are some, the
// primary button then the secondary one; brought to the front before it waits.
NativeUpdatePresenter modalUpdateAlert();

} // namespace hopla
