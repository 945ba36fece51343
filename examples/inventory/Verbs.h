// Verbs: what the program can do. Each answers its exit status.

#ifndef INVENTORY_VERBS_H_
#define INVENTORY_VERBS_H_

#include "Options.h"

namespace Inventory {

enum ExitStatus { kDone = 0, kDifferent = 1, kError = 2 };

/// All throw Failure for an error.
ExitStatus Create(const Options& options);
ExitStatus Verify(const Options& options);
ExitStatus Show(const Options& options);
ExitStatus Copy(const Options& options);

}  // namespace Inventory

#endif  // INVENTORY_VERBS_H_
