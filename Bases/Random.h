// Random: a name of the interface, with no generator behind it.
//
// See      docs/surprises.md, "Empty classes", for what is By design.

#ifndef NOVU_BASES_RANDOM_H_
#define NOVU_BASES_RANDOM_H_

#include "Bases/Export.h"

namespace Novu {

/// By design [empty-1]: an empty class, kept because hosts name and derive from
/// it. It can be made, destroyed and deleted through a pointer, and does no
/// more.
class NOVU_API Random {
public:
    Random();           ///< Does nothing.
    virtual ~Random();  ///< Does nothing.
};

}  // namespace Novu

#endif  // NOVU_BASES_RANDOM_H_
