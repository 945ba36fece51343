// Random, from Bases/Random.h. Empty on purpose.

#include "Bases/Random.h"

namespace Novu {

Random::Random() = default;

Random::~Random() = default;

}  // namespace Novu
