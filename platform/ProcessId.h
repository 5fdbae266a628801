#pragma once

#include <cstdint>

namespace hopla {

// A process identifier names one running application throughout Hopla.
using ProcessId = std::int32_t;

} // namespace hopla
