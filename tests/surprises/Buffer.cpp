// The surprises of Bases/Buffer.h.

#include "Bases/Buffer.h"

#include "tests/surprises/Seen.h"

namespace {

using Novu::SerialBuffer;
using NovuTest::SurprisesTest;

unsigned char data[] = {'a', 'b', 'c', 'd'};

// Has four bytes, all of them in use.
class Full : public SerialBuffer {
public:
    Full() { AddBuffer(data, 4, 1); }
};

// [buffer-1] One of the two hands the block back, or both release it.
TEST_F(SurprisesTest, buffer_1) {
    Full a;
    SEEN(SerialBuffer b = a; a.GetBuffer() == b.Fetch());
}

// [buffer-2]
TEST_F(SurprisesTest, buffer_2) {
    Full a;
    SEEN(a.SetMaxSize(100, 0); a.GetSize() == 4);
}

// [buffer-3]
TEST_F(SurprisesTest, buffer_3) {
    Full a;
    SEEN(a.AddBuffer(data, 1, 1); a.GetMaxSize() == 5);
}

// [buffer-4]
TEST_F(SurprisesTest, buffer_4) {
    SerialBuffer a;
    SEEN(a.SetBuffer(new unsigned char[10], 20, 10) == 1 &&
         a.SetBuffer(nullptr, 0, 0) == 0);
}

// [buffer-5]
TEST_F(SurprisesTest, buffer_5) {
    Full a;
    SEEN(a.AddBuffer(nullptr, ~0UL, 1) == 1 && a.GetMaxSize() == 4);
}

// [buffer-6]
TEST_F(SurprisesTest, buffer_6) {
    Full a;
    SEEN(a.SetSize(100) == 4 && a.GetMaxSize() == 4);
}

}  // namespace
