// StatTimes (private): the times of a stat record, whose fields have other
// names on each system. A port defines these three.

#ifndef NOVU_BASES_IMPL_STATTIMES_H_
#define NOVU_BASES_IMPL_STATTIMES_H_

#include <sys/stat.h>
#include <time.h>

namespace Novu {

timespec AccessTime(const struct stat& info);
timespec ModificationTime(const struct stat& info);
timespec StatusChangeTime(const struct stat& info);

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_STATTIMES_H_
