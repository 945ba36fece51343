// Timeouts (private): the timeout, in milliseconds, that is none.

#ifndef NOVU_BASES_IMPL_TIMEOUTS_H_
#define NOVU_BASES_IMPL_TIMEOUTS_H_

namespace Novu {

const unsigned int kNoLimit = 0xFFFFFFFF;

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_TIMEOUTS_H_
