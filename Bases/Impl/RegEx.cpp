// RegEx, from Bases/RegEx.h. Empty on purpose.

#include "Bases/RegEx.h"

namespace Novu {

RegEx::RegEx() = default;

RegEx::~RegEx() = default;

}  // namespace Novu
