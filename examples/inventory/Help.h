// Help: what the program says about itself.

#ifndef INVENTORY_HELP_H_
#define INVENTORY_HELP_H_

namespace Inventory {

extern const char kUsage[];  ///< How the program is called.
extern const char kHelp[];   ///< Stands behind it.

// The whole help of each verb.
extern const char kCreateHelp[];
extern const char kVerifyHelp[];
extern const char kShowHelp[];
extern const char kCopyHelp[];

}  // namespace Inventory

#endif  // INVENTORY_HELP_H_
