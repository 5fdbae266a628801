#pragma once

#include <cstdint>

namespace hopla {

// Names one running application throughout Hopla. The backend that lists the applications
// assigns it; the rest of the program only compares, hashes and passes it on.
using AppHandle = std::int32_t;

} // namespace hopla
