// The surprises of Bases/Guid.h.

#include "Bases/Guid.h"

#include <sys/random.h>

#include <stdexcept>
#include <string>

#include "tests/support/NextSymbol.h"
#include "tests/surprises/Seen.h"

namespace {

std::size_t drawn = 0;  // Bytes of the system's random source, so far.

}  // namespace

ssize_t getrandom(void* buffer, size_t size, unsigned int flags) {
    static auto* const next =
        NovuTest::NextSymbol<decltype(::getrandom)>("getrandom");
    drawn += size;
    return next(buffer, size, flags);
}

namespace {

using Novu::Guid;
using NovuTest::SurprisesTest;
using NovuTest::Throws;

Guid Of(const char* text) {
    Guid guid;
    EXPECT_TRUE(guid.FromString(text));
    return guid;
}

// [guid-1]
TEST_F(SurprisesTest, guid_1) {
    Guid id;
    drawn = 0;
    SEEN(id.Generate(); id.Generate(); drawn == 2UL * 2496);
}

// [guid-2]
TEST_F(SurprisesTest, guid_2) {
    const Guid a = Of("00000001-0000-0000-0000-000000000000");
    const Guid b = Of("01000000-0000-0000-0000-000000000000");
    SEEN(a.ToString(1) < b.ToString(1) && a > b);
}

// [guid-3]
TEST_F(SurprisesTest, guid_3) {
    const Guid id = Of("00112233-4455-6677-8899-aabbccddeeff");
    SEEN(id.ToString(0) == "0112233-4455-6677-8899-aabbccddeef");
}

// [guid-4]
TEST_F(SurprisesTest, guid_4) { SEEN(Guid().ToString(1).empty()); }

// [guid-5]
TEST_F(SurprisesTest, guid_5) {
    Guid id;
    SEEN(id.FromString("00112233-4455-6677-8899-aabbccddeeff, and more"));
}

// [guid-6]
TEST_F(SurprisesTest, guid_6) {
    Guid id;
    SEEN(Throws<std::runtime_error>([&] { id.FromString("x"); }) &&
         !id.FromString(std::string()));
}

}  // namespace
