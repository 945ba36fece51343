// MemPool, from Bases/MemPool.h. Empty on purpose.

#include "Bases/MemPool.h"

namespace Novu {

MemPool::MemPool() = default;

MemPool::~MemPool() = default;

}  // namespace Novu
