// TextFileIo, from Bases/TextFileIo.h. Empty on purpose.

#include "Bases/TextFileIo.h"

namespace Novu {

TextFileIo::TextFileIo() = default;

TextFileIo::~TextFileIo() = default;

}  // namespace Novu
