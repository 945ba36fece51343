// The times of a stat record, from Bases/Impl/StatTimes.h.

#include "Bases/Impl/StatTimes.h"

namespace Novu {

timespec AccessTime(const struct stat& info) { return info.st_atim; }
timespec ModificationTime(const struct stat& info) { return info.st_mtim; }
timespec StatusChangeTime(const struct stat& info) { return info.st_ctim; }

}  // namespace Novu
