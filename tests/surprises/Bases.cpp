// The surprises of Bases/Bases.h.

#include "Bases/Bases.h"

#include <libxml/parser.h>

#include <cstdlib>
#include <locale>
#include <stdexcept>

#include "tests/support/NextSymbol.h"
#include "tests/surprises/Seen.h"

namespace {

int cleanUps = 0;  // Of libxml2, so far.

}  // namespace

extern "C" void xmlCleanupParser() {
    static auto* const next = NovuTest::NextSymbol<void()>("xmlCleanupParser");
    ++cleanUps;
    next();
}

namespace {

using Novu::BasesInit;
using Novu::BasesRelease;
using NovuTest::SurprisesTest;
using NovuTest::Throws;
using NovuTest::Variable;

// [bases-1]
TEST_F(SurprisesTest, bases_1) {
    const Variable locale("LC_ALL", "C.utf8");
    SEEN(BasesInit(); BasesRelease();
         std::locale().name() == std::getenv("LC_ALL"));
}

// [bases-2]
TEST_F(SurprisesTest, bases_2) {
    const Variable locale("LC_ALL", "C");
    cleanUps = 0;
    SEEN(BasesInit(); BasesInit(); BasesRelease(); cleanUps == 1);
}

// [bases-3]
TEST_F(SurprisesTest, bases_3) {
    const Variable locale("LC_ALL", "no such locale");
    SEEN(Throws<std::runtime_error>(BasesInit));
}

}  // namespace
