// CpuFeatures where the library has one path only.

#include "Bases/Impl/CpuFeatures.h"

namespace Novu {

bool CpuHas(unsigned int features) { return features == 0; }

}  // namespace Novu
