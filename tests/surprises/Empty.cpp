// The surprise of the empty classes.

#include "Bases/MemPool.h"
#include "Bases/Random.h"
#include "Bases/RegEx.h"
#include "Bases/TextFileIo.h"
#include "tests/surprises/Seen.h"

namespace {

using Novu::MemPool;
using Novu::Random;
using Novu::RegEx;
using Novu::TextFileIo;
using NovuTest::SurprisesTest;

// [empty-1]
TEST_F(SurprisesTest, empty_1) {
    SEEN(sizeof(MemPool) == sizeof(void*) && sizeof(Random) == sizeof(void*) &&
         sizeof(RegEx) == sizeof(void*) && sizeof(TextFileIo) == sizeof(void*));
}

}  // namespace
