// What the headers of Bases/ promise to hosts that were compiled with them: the
// sizes of all classes, records and enumerations, here, and their constants.
// Fields are in LayoutFields.cpp, virtual functions in LayoutSlots.cpp.
//
// The numbers are those of 64-bit Linux with libstdc++.

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstddef>
#include <functional>
#include <list>
#include <ostream>
#include <string>
#include <type_traits>

#include "Bases/All.h"
#include "tests/support/VirtualSlots.h"

namespace {

using Novu::Base64;
using Novu::Crypto;
using Novu::CryptoHashMd5;
using Novu::FileIo;
using Novu::NovuSemaphore;

// What the numbers below stand on.
static_assert(sizeof(int) == 4 && sizeof(short) == 2);
static_assert(sizeof(long) == 8 && sizeof(long long) == 8);
static_assert(sizeof(wchar_t) == 4);
static_assert(sizeof(void*) == 8);
static_assert(sizeof(std::string) == 32 && alignof(std::string) == 8);
static_assert(sizeof(std::list<void*>) == 24);
static_assert(sizeof(pthread_mutex_t) == 40 && alignof(pthread_mutex_t) == 8);

// Classes and records

struct Layout {
    std::size_t size;
    std::size_t alignment;
    // Of the table of virtual functions, two for a virtual destructor; 0: no
    // table.
    std::ptrdiff_t slots;
    bool virtualDestructor;
    bool abstract;
    bool trivial;  // To copy; so it goes in registers where it fits.

    bool operator==(const Layout&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Layout& layout) {
    return out << "{size " << layout.size << ", alignment " << layout.alignment
               << ", slots " << layout.slots << ", virtual destructor "
               << layout.virtualDestructor << ", abstract " << layout.abstract
               << ", trivial " << layout.trivial << "}";
}

template <typename Class>
Layout LayoutOf() {
    return {sizeof(Class),
            alignof(Class),
            NovuTest::VirtualSlots<Class>(),
            std::has_virtual_destructor_v<Class>,
            std::is_abstract_v<Class>,
            std::is_trivially_copyable_v<Class>};
}

// Objects with a virtual destructor, of `slots` slots in all.
Layout Object(std::size_t size, std::ptrdiff_t slots = 2) {
    return {size, 8, slots, true, false, false};
}

Layout Interface(std::ptrdiff_t slots) {
    return {8, 8, slots, true, true, false};
}

Layout WithoutTable(std::size_t size) {
    return {size, 8, 0, false, false, false};
}

Layout Record(std::size_t size, std::size_t alignment) {
    return {size, alignment, 0, false, false, true};
}

TEST(LayoutTest, ClassesAndRecords) {
    const struct {
        int line;
        const char* name;
        Layout expected;
        std::function<Layout()> actual;
    } rows[] = {
        {__LINE__, "Base64", Object(8, 4), LayoutOf<Base64>},
        {__LINE__, "Bits", Object(8 + 8 + 8 + 8), LayoutOf<Novu::Bits>},
        {__LINE__, "SerialBuffer", Object(8 + 8 + 8 + 8),
         LayoutOf<Novu::SerialBuffer>},

        {__LINE__, "Crypto", Interface(7 + 2), LayoutOf<Crypto>},
        {__LINE__, "CryptoBlockCipherSeed", Object(8 + 32 * 4, 7 + 2),
         LayoutOf<Novu::CryptoBlockCipherSeed>},
        {__LINE__, "CryptoHashMd5", Object(8, 7 + 2), LayoutOf<CryptoHashMd5>},
        {__LINE__, "MD5Digest_struct", Record(16, 1),
         LayoutOf<CryptoHashMd5::MD5Digest_struct>},
        {__LINE__, "Guid", Record(16, 1), LayoutOf<Novu::Guid>},

        {__LINE__, "SysTime", Record(18, 2), LayoutOf<Novu::SysTime>},
        // Two dates of 18 bytes, and 2 behind each.
        {__LINE__, "TimeZone", Record(4 + 64 + 20 + 4 + 64 + 20 + 4, 4),
         LayoutOf<Novu::TimeZone>},
        {__LINE__, "TimeZoneDisplay", Record(180 + 128, 4),
         LayoutOf<Novu::TimeZoneDisplay>},

        {__LINE__, "FileIo", Object(8 + 8 + 8 + 32), LayoutOf<FileIo>},
        {__LINE__, "FileFind", Object(8 + 8 + 8), LayoutOf<Novu::FileFind>},
        {__LINE__, "Shm", Object(8 + 4 + 4), LayoutOf<Novu::Shm>},

        {__LINE__, "NovuSemaphore", Object(8 + 8), LayoutOf<NovuSemaphore>},
        {__LINE__, "NovuEvent", WithoutTable(4 + 4 + 8),
         LayoutOf<Novu::NovuEvent>},
        {__LINE__, "Cs", WithoutTable(40), LayoutOf<Novu::Cs>},
        {__LINE__, "CsLocker", Object(8 + 8), LayoutOf<Novu::CsLocker>},
        {__LINE__, "Mutex", WithoutTable(8 + 32), LayoutOf<Novu::Mutex>},
        {__LINE__, "MutexLocker", Object(8 + 8), LayoutOf<Novu::MutexLocker>},
        {__LINE__, "Event", WithoutTable(8 + 32), LayoutOf<Novu::Event>},

        {__LINE__,
         "ThreadHandler",
         {8, 8, /*slots=*/2, /*virtualDestructor=*/false, true, false},
         LayoutOf<Novu::ThreadHandler>},
        {__LINE__, "Thread", Object(8 + 5 * 8 + 4 + 4, 2 + 3),
         LayoutOf<Novu::Thread>},
        {__LINE__, "ThreadTaskPool", Object(56 + 8 + 40 + 40, 2 + 3),
         LayoutOf<Novu::ThreadTaskPool>},

        {__LINE__, "Command", Interface(2 + 1), LayoutOf<Novu::Command>},
        {__LINE__, "MacroCommand", Object(8 + 24, 2 + 1),
         LayoutOf<Novu::MacroCommand>},

        {__LINE__, "XmlWriter", Object(8 + 8, 2 + 3),
         LayoutOf<Novu::XmlWriter>},
        {__LINE__, "XmlReader", Object(8 + 8, 2 + 1),
         LayoutOf<Novu::XmlReader>},

        {__LINE__, "MemPool", Object(8), LayoutOf<Novu::MemPool>},
        {__LINE__, "Random", Object(8), LayoutOf<Novu::Random>},
        {__LINE__, "RegEx", Object(8), LayoutOf<Novu::RegEx>},
        {__LINE__, "TextFileIo", Object(8), LayoutOf<Novu::TextFileIo>},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.expected, row.actual())
            << row.name << ", row at line " << row.line;
    }
}

// A base lies at the start of what is derived from it.
template <typename Base, typename Derived>
std::ptrdiff_t OffsetOfBase() {
    static_assert(std::is_base_of_v<Base, Derived>);
    static_assert(std::is_convertible_v<Derived*, Base*>);
    alignas(Derived) static char place[sizeof(Derived)];
    auto* const derived = reinterpret_cast<Derived*>(place);
    const Base* const base = derived;
    return reinterpret_cast<const char*>(base) - place;
}

TEST(LayoutTest, BasesStandAtTheStart) {
    EXPECT_EQ(0, (OffsetOfBase<Crypto, Novu::CryptoBlockCipherSeed>()));
    EXPECT_EQ(0, (OffsetOfBase<Crypto, CryptoHashMd5>()));
    EXPECT_EQ(0, (OffsetOfBase<Novu::Thread, Novu::ThreadTaskPool>()));
    EXPECT_EQ(0, (OffsetOfBase<Novu::Command, Novu::MacroCommand>()));
}

// Handles have no definition that hosts could come to depend on.

template <typename Class>
concept Defined = requires {
    sizeof(Class);
};

static_assert(Defined<Novu::XmlReader>);
static_assert(!Defined<Novu::XmlReader::Element>);
static_assert(!Defined<Novu::XmlReader::Attribute>);

// Enumerations

template <typename Enumeration>
std::underlying_type_t<Enumeration> ValueOf(Enumeration enumerator) {
    return enumerator;
}

// An enumerator more is one that a switch over all of them does not know.
int CountKnown(Crypto::Type type) {
    switch (type) {
        case Crypto::HashMd5:
        case Crypto::BlockCipherSeed:
            return 1;
    }
    return 0;
}

int CountKnown(NovuSemaphore::SemInitState state) {
    switch (state) {
        case NovuSemaphore::NotSignalled:
        case NovuSemaphore::Signalled:
            return 1;
    }
    return 0;
}

TEST(LayoutTest, Enumerations) {
    static_assert(
        std::is_same_v<std::underlying_type_t<Crypto::Type>, unsigned int>);
    static_assert(sizeof(Crypto::Type) == 4);
    EXPECT_EQ(1U, ValueOf(Crypto::HashMd5));
    EXPECT_EQ(2U, ValueOf(Crypto::BlockCipherSeed));
    EXPECT_EQ(1, CountKnown(Crypto::HashMd5));

    static_assert(
        std::is_same_v<std::underlying_type_t<NovuSemaphore::SemInitState>,
                       unsigned int>);
    static_assert(sizeof(NovuSemaphore::SemInitState) == 4);
    EXPECT_EQ(0U, ValueOf(NovuSemaphore::NotSignalled));
    EXPECT_EQ(1U, ValueOf(NovuSemaphore::Signalled));
    EXPECT_EQ(1, CountKnown(NovuSemaphore::Signalled));
}

// Constants

TEST(LayoutTest, Constants) {
    static_assert(std::is_same_v<decltype(Base64::s_szBase64Alphabet),
                                 char[65]>);  // Can be written to.
    EXPECT_EQ(
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/",
        std::string(Base64::s_szBase64Alphabet, 64));
    EXPECT_EQ('\0', Base64::s_szBase64Alphabet[64]);

    static_assert(
        std::is_same_v<decltype(Base64::s_nMask), const unsigned long[9]>);
    const unsigned long masks[9] = {0, 1, 3, 7, 15, 31, 63, 127, 255};
    for (std::size_t count = 0; count != 9; ++count) {
        EXPECT_EQ(masks[count], Base64::s_nMask[count]) << count;
    }

    static_assert(
        std::is_same_v<decltype(FileIo::InvalidFileIoHandle), const int>);
    EXPECT_EQ(-1, FileIo::InvalidFileIoHandle);
    EXPECT_EQ(-1, *std::addressof(FileIo::InvalidFileIoHandle));

    // One for each file that includes it.
    static_assert(std::is_same_v<decltype(Novu::EB), const long long>);
    EXPECT_EQ(0, Novu::EB);

    // The room for a running digest is the caller's.
    static_assert(std::is_same_v<decltype(&CryptoHashMd5::MD5Init),
                                 void (CryptoHashMd5::*)(char(*)[88])>);
}

}  // namespace
