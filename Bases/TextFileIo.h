// TextFileIo: a name of the interface, with no file behind it.
//
// See      docs/surprises.md, "Empty classes", for what is By design.

#ifndef NOVU_BASES_TEXTFILEIO_H_
#define NOVU_BASES_TEXTFILEIO_H_

#include "Bases/Export.h"

namespace Novu {

/// By design [empty-1]: an empty class, kept because hosts name and derive from
/// it. It can be made, destroyed and deleted through a pointer, and does no
/// more.
class NOVU_API TextFileIo {
public:
    TextFileIo();           ///< Does nothing.
    virtual ~TextFileIo();  ///< Does nothing.
};

}  // namespace Novu

#endif  // NOVU_BASES_TEXTFILEIO_H_
