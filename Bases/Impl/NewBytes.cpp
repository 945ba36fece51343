// NewBytes, from Bases/Impl/NewBytes.h.

#include "Bases/Impl/NewBytes.h"

namespace Novu {

unsigned char* NewBytes(unsigned long count) {
    return new unsigned char[count];
}

}  // namespace Novu
