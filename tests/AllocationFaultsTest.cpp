// Every operation of the library, and the memory that it takes from operator
// new: each allocation fails once, in turn, for those that make any, and the
// others make none.
//
// A table holds the operations that allocate on one kind of subject, by their
// exported names. A walk makes a subject, has the n-th allocation of the
// operation fail, for n = 1, 2, 3, ... until it gets through, and wants each
// time: std::bad_alloc reaches the caller; what the subject shows is what it
// showed before; the operation, called again, does all of its work; and in the
// end no block is left. tests/support/AllocationFree.h lists the others, and
// the last test compares both with the list of what the library exports.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cfloat>
#include <climits>
#include <clocale>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <locale>
#include <memory>
#include <new>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Bases/All.h"
#include "tests/support/Allocation.h"
#include "tests/support/AllocationFree.h"
#include "tests/support/Concurrency.h"
#include "tests/support/GlobalLocale.h"
#include "tests/support/SemaphoreName.h"
#include "tests/support/TempDir.h"

namespace {

using Novu::Bits;
using Novu::Crypto;
using Novu::CryptoBlockCipherSeed;
using Novu::CryptoHashMd5;
using Novu::Event;
using Novu::FileFind;
using Novu::Guid;
using Novu::MacroCommand;
using Novu::Mutex;
using Novu::NovuEvent;
using Novu::NovuSemaphore;
using Novu::SerialBuffer;
using Novu::SysTime;
using Novu::Thread;
using Novu::ThreadTaskPool;
using Novu::XmlReader;
using Novu::XmlWriter;
using NovuTest::AllocationLedger;
using NovuTest::Eventually;
using NovuTest::FailingAllocation;
using NovuTest::SemaphoreName;
using NovuTest::TempDir;

}  // namespace

// Stand-ins: the program lies where no string holds the path by itself, and
// nobody sets the clock.
extern "C" {

ssize_t readlink(const char* /*path*/, char* buffer,
                 std::size_t size) noexcept {
    const std::string_view program = "/a/directory/of/some/length/program";
    return static_cast<ssize_t>(program.copy(buffer, size));
}

int settimeofday(const timeval* /*time*/,
                 const struct timezone* /*zone*/) noexcept {
    return 0;
}

}  // extern "C"

namespace {

// Walks

int points = 0;  // Allocations that have failed.

template <typename Subject>
struct Operation {
    int line;
    const char* name;  // As exported, less the namespace and the allocators.
    void (*run)(Subject& subject);
    std::string shown;     // What the subject shows when it is done.
    std::size_t left = 0;  // Blocks that another thread releases.
    // Compilers may do without what is released again right away.
    bool alwaysAllocates = true;
};

// Runs the operation; whether memory ran out.
template <typename Subject>
bool RunsOut(const Operation<Subject>& operation, Subject& subject) {
    try {
        operation.run(subject);
        return false;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

// Answers whether there was an n-th allocation.
template <typename Subject>
bool FailsAt(unsigned long n, const Operation<Subject>& operation) {
    const AllocationLedger ledger;
    bool failed = false;
    {
        Subject subject;
        const std::string before = subject.Shown();
        bool ranOut = false;
        {
            const FailingAllocation failing(n);
            ranOut = RunsOut(operation, subject);
            failed = !FailingAllocation::IsPending();
        }
        EXPECT_EQ(failed, ranOut) << "std::bad_alloc passes";
        if (failed) {
            EXPECT_EQ(before, subject.Shown());
            EXPECT_FALSE(RunsOut(operation, subject));
        }
        EXPECT_EQ(operation.shown, subject.Shown());
    }
    EXPECT_EQ(operation.left, ledger.Blocks());
    return failed;
}

// To the end, or to the first failed expectation.
template <typename Subject, std::size_t count>
void Walk(const Operation<Subject> (&operations)[count]) {
    for (const Operation<Subject>& operation : operations) {
        unsigned long n = 1;
        for (bool failed = true; failed; ++n) {
            SCOPED_TRACE(testing::Message()
                         << operation.name << " at line " << operation.line
                         << ", allocation " << n);
            failed = FailsAt(n, operation);
            if (testing::Test::HasFailure()) {
                return;
            }
        }
        if (operation.alwaysAllocates) {
            EXPECT_LT(2U, n) << operation.name << " allocates nothing";
        }
        points += static_cast<int>(n) - 2;
    }
    testing::Test::RecordProperty("points", points);
}

// What a function leaves in its outputs.
struct Outputs {
    std::string text = "junk";
    char buffer[64] = "junk";
    int answer = -1;

    std::string Shown() const {
        return text + " " + buffer + " " + std::to_string(answer);
    }
};

// An object that is made, or is not.
template <typename Object>
struct Maker {
    std::optional<Object> made;

    std::string Shown() const { return made.has_value() ? "made" : "none"; }
};

template <typename Object>
void Make(Maker<Object>& maker) {
    maker.made.emplace();
}

// More characters than a string holds by itself.
const std::string kText = "a text that needs memory of its own";

// Base64

const Operation<Outputs> kBase64[] = {
    {__LINE__, "Base64::Encode(char const*, unsigned long, std::string&)",
     [](Outputs& o) {
         o.answer = Novu::Base64().Encode("MMMMMMMMMMMMMMM", 15, o.text);
     },
     "TU1NTU1NTU1NTU1NTU1N junk 1"},
};

TEST(AllocationFaultsTest, Base64) { Walk(kBase64); }

// Bits

struct Sets {
    Bits four;
    Bits sixteen;
    unsigned long size = 0;  // Of a set that was combined,
    int firstByte = -1;      // and what it begins with.
    std::string text = "junk";

    Sets() {
        four.FromString("1010");
        sixteen.FromString("1111000011110011");
    }

    void Note(const Bits& combined) {
        size = combined.GetSize();
        firstByte = combined.GetData()[0];
    }

    std::string Shown() const {
        return four.ToString() + " " + sixteen.ToString() + " " +
               std::to_string(size) + ":" + std::to_string(firstByte) + " " +
               text;
    }
};

const std::string kSixteen = " 1111000011110011 0:-1 junk";

const Operation<Sets> kBits[] = {
    {__LINE__, "Bits::SetSize(unsigned long, int)",
     [](Sets& s) { s.four.SetSize(12); }, "000000001010" + kSixteen},
    {__LINE__, "Bits::SetData(unsigned char*, unsigned long)",
     [](Sets& s) {
         unsigned char bytes[] = {0xF0, 0x0A};
         s.four.SetData(bytes, 12);
     },
     "101011110000" + kSixteen},
    {__LINE__, "Bits::Clone(Bits const&)",
     [](Sets& s) { s.four.Clone(s.sixteen); }, "1111000011110011" + kSixteen},
    {__LINE__, "Bits::operator=(Bits const&)",
     [](Sets& s) { s.four = s.sixteen; }, "1111000011110011" + kSixteen},
    {__LINE__, "Bits::operator|=(Bits const&)",
     [](Sets& s) { s.four |= s.sixteen; }, "0000000011111011" + kSixteen},
    {__LINE__, "Bits::operator^=(Bits const&)",
     [](Sets& s) { s.four ^= s.sixteen; }, "0000000011111001" + kSixteen},
    {__LINE__, "Bits::operator&(Bits const&)",
     [](Sets& s) { s.Note(s.four & s.sixteen); },
     "1010 1111000011110011 4:2 junk"},
    {__LINE__, "Bits::operator|(Bits const&)",
     [](Sets& s) { s.Note(s.four | s.sixteen); },
     "1010 1111000011110011 16:251 junk"},
    {__LINE__, "Bits::operator^(Bits const&)",
     [](Sets& s) { s.Note(s.four ^ s.sixteen); },
     "1010 1111000011110011 16:249 junk"},
    {__LINE__, "Bits::FromString(std::string const&)",
     [](Sets& s) { s.four.FromString("01100110"); }, "01100110" + kSixteen},
    {__LINE__, "Bits::ToString(std::string&) const",
     [](Sets& s) { s.sixteen.ToString(s.text); },
     "1010 1111000011110011 0:-1 1111000011110011"},
    {__LINE__, "Bits::ToString() const",
     [](Sets& s) { s.text = s.sixteen.ToString(); },
     "1010 1111000011110011 0:-1 1111000011110011"},
    {__LINE__, "Bits::Bits(unsigned long)", [](Sets& s) { s.Note(Bits(9)); },
     "1010 1111000011110011 9:0 junk"},
    {__LINE__, "Bits::Bits(Bits const&)",
     [](Sets& s) {
         // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
         const Bits copy(s.sixteen);
         s.Note(copy);
     },
     "1010 1111000011110011 16:243 junk"},
};

TEST(AllocationFaultsTest, Bits) { Walk(kBits); }

// SerialBuffer

struct Buffers {
    SerialBuffer buffer;

    Buffers() {
        unsigned char bytes[] = "ab";
        buffer.AddBuffer(bytes, 2, 1);
    }

    std::string Shown() {
        return std::string(reinterpret_cast<char*>(buffer.GetBuffer()),
                           buffer.GetSize()) +
               " " + std::to_string(buffer.GetMaxSize());
    }
};

const Operation<Buffers> kBuffers[] = {
    {__LINE__, "SerialBuffer::AddBuffer(unsigned char*, unsigned long, int)",
     [](Buffers& b) {
         unsigned char bytes[] = "cd";
         b.buffer.AddBuffer(bytes, 2, 1);
     },
     "abcd 4"},
    {__LINE__, "SerialBuffer::AddBuffer(unsigned char*, unsigned long, int)",
     [](Buffers& b) { b.buffer.AddBuffer(nullptr, 2, 1); }, "ab 4"},
    {__LINE__, "SerialBuffer::SetMaxSize(unsigned long, int)",
     [](Buffers& b) { b.buffer.SetMaxSize(10, 1); }, "ab 10"},
};

const Operation<Maker<SerialBuffer>> kBufferMakers[] = {
    {__LINE__, "SerialBuffer::SerialBuffer(unsigned long)",
     [](Maker<SerialBuffer>& m) { m.made.emplace(10UL); }, "made"},
};

TEST(AllocationFaultsTest, SerialBuffer) {
    Walk(kBuffers);
    Walk(kBufferMakers);
}

// Crypto

// With the outputs that a failure leaves behind from the beginning.
struct Ciphers {
    CryptoHashMd5 md5;
    CryptoBlockCipherSeed seed;
    unsigned char message[16] = {};
    unsigned long consumed = 0;
    unsigned char* output = nullptr;
    unsigned long length = 0;
    std::string text = "junk";
    Crypto* made = nullptr;

    Ciphers() { seed.Create(); }
    Ciphers(const Ciphers&) = delete;
    Ciphers& operator=(const Ciphers&) = delete;
    ~Ciphers() {
        delete[] output;
        Novu::DestroyCrypto(made);
    }

    std::string Shown() const {
        return std::to_string(length) + (output != nullptr ? " out " : " - ") +
               text + (made != nullptr ? " made" : "");
    }
};

const char* const kZeros16 = "4ae71336e44bf9bf79d2752e234818a5";  // Of md5sum.

const Operation<Ciphers> kCiphers[] = {
    {__LINE__, "CreateCrypto(Crypto::Type const&)",
     [](Ciphers& c) { c.made = Novu::CreateCrypto(Crypto::HashMd5); },
     "0 - junk made"},
    {__LINE__, "CreateCrypto(Crypto::Type const&)",
     [](Ciphers& c) { c.made = Novu::CreateCrypto(Crypto::BlockCipherSeed); },
     "0 - junk made"},
    {__LINE__,
     "CryptoBlockCipherSeed::Encrypt(unsigned char*, unsigned long, unsigned "
     "long&, unsigned char*&, unsigned long&)",
     [](Ciphers& c) {
         c.seed.Encrypt(c.message, 9, c.consumed, c.output, c.length);
     },
     "16 out junk"},
    {__LINE__,
     "CryptoBlockCipherSeed::Decrypt(unsigned char*, unsigned long, unsigned "
     "long&, unsigned char*&, unsigned long&)",
     [](Ciphers& c) {
         c.seed.Decrypt(c.message, 16, c.consumed, c.output, c.length);
     },
     "16 out junk"},
    {__LINE__,
     "CryptoHashMd5::Encrypt(unsigned char*, unsigned long, unsigned long&, "
     "unsigned char*&, unsigned long&)",
     [](Ciphers& c) {
         c.md5.Encrypt(c.message, 16, c.consumed, c.output, c.length);
     },
     "16 out junk"},
    {__LINE__,
     "CryptoHashMd5::MD5DigestToBase16(CryptoHashMd5::MD5Digest_struct const&)",
     [](Ciphers& c) { c.text = c.md5.MD5DigestToBase16({}); },
     "0 - 00000000000000000000000000000000"},
    {__LINE__, "CryptoHashMd5::MD5String(std::string const&)",
     [](Ciphers& c) { c.text = c.md5.MD5String(std::string(16, '\0')); },
     std::string("0 - ") + kZeros16},
};

TEST(AllocationFaultsTest, Crypto) { Walk(kCiphers); }

// DateTimeFormat. A string is cleared where there is no result.

struct Formats {
    std::string text;
    char buffer[64] = "junk";

    std::string Shown() const { return text + " " + buffer; }
};

struct Appended {
    std::string text = "0123456789abcd";  // One more, and then memory.

    std::string Shown() const { return text; }
};

const std::string kPattern = "yyyy/yyyy/yyyy/yyyy/yyyy";
const std::string kLongToken = "yyyyyyyyyyyyyyyyyyyyyyyy";  // Of no meaning.
const SysTime kSysTime = {1970, 7, 3, 1, 12, 0, 0, 0, -1};
const long long kTime = 181LL * 24 * 60 * 60 * 1000;  // The same day.

const Operation<Formats> kFormats[] = {
    {__LINE__,
     "GetDateTimeFormat(std::string&, std::string const&, SysTime const&)",
     [](Formats& f) { Novu::GetDateTimeFormat(f.text, kPattern, kSysTime); },
     "1970/1970/1970/1970/1970 junk"},
    {__LINE__, "GetDateTimeFormat(std::string const&, SysTime const&)",
     [](Formats& f) { f.text = Novu::GetDateTimeFormat(kPattern, kSysTime); },
     "1970/1970/1970/1970/1970 junk"},
    {__LINE__,
     "GetDateTimeFormat(std::string&, std::string const&, long long const&)",
     [](Formats& f) { Novu::GetDateTimeFormat(f.text, kPattern, kTime); },
     "1970/1970/1970/1970/1970 junk"},
    {__LINE__, "GetDateTimeFormat(std::string const&, long long const&)",
     [](Formats& f) { f.text = Novu::GetDateTimeFormat(kPattern, kTime); },
     "1970/1970/1970/1970/1970 junk"},
    {__LINE__,
     "GetLocalDateTimeFormat(std::string&, std::string const&, long long "
     "const&)",
     [](Formats& f) { Novu::GetLocalDateTimeFormat(f.text, kPattern, kTime); },
     "1970/1970/1970/1970/1970 junk"},
    {__LINE__, "GetLocalDateTimeFormat(std::string const&, long long const&)",
     [](Formats& f) { f.text = Novu::GetLocalDateTimeFormat(kPattern, kTime); },
     "1970/1970/1970/1970/1970 junk"},
    {__LINE__,
     "GetDateTimeFormat(char*, unsigned long, std::string const&, SysTime "
     "const&)",
     [](Formats& f) {
         Novu::GetDateTimeFormat(f.buffer, sizeof f.buffer, kPattern, kSysTime);
     },
     " 1970/1970/1970/1970/1970"},
    {__LINE__,
     "GetLocalDateTimeFormat(char*, unsigned long, std::string const&, long "
     "long const&)",
     [](Formats& f) {
         Novu::GetLocalDateTimeFormat(f.buffer, sizeof f.buffer, kPattern,
                                      kTime);
     },
     " 1970/1970/1970/1970/1970"},
    {__LINE__,
     "GetDateTimeFormat(char*, unsigned long, std::string const&, long long "
     "const&)",
     [](Formats& f) {
         Novu::GetDateTimeFormat(f.buffer, sizeof f.buffer, kPattern, kTime);
     },
     " 1970/1970/1970/1970/1970"},
};

const Operation<Appended> kAppended[] = {
    {__LINE__,
     "DateTimeFormatToString(std::string const&, SysTime const&, "
     "std::string&)",
     [](Appended& a) {
         Novu::DateTimeFormatToString("yyyy", kSysTime, a.text);
     },
     "0123456789abcd1970"},
    {__LINE__,
     "DateTimeFormatToString(std::string const&, SysTime const&, "
     "std::string&)",
     [](Appended& a) {
         SysTime st = kSysTime;
         st.year = -9;  // Sign, zeros and digits, one after the other.
         Novu::DateTimeFormatToString("yyyy", st, a.text);
     },
     "0123456789abcd-009"},
    {__LINE__,
     "DateTimeFormatToString(std::string const&, SysTime const&, "
     "std::string&)",
     [](Appended& a) {
         Novu::DateTimeFormatToString(kLongToken, kSysTime, a.text);
     },
     "0123456789abcdyyyyyyyyyyyyyyyyyyyyyyyy"},
};

TEST(AllocationFaultsTest, DateTimeFormat) {
    Walk(kFormats);
    Walk(kAppended);
}

// Semaphores, events, locks

const Operation<Maker<NovuEvent>> kEventMakers[] = {
    {__LINE__, "NovuEvent::NovuEvent()", Make<NovuEvent>, "made"},
};

const Operation<Maker<Event>> kPublicEventMakers[] = {
    {__LINE__, "Event::Event()", Make<Event>, "made"},
};

const Operation<Maker<Mutex>> kMutexMakers[] = {
    {__LINE__, "Mutex::Mutex()", Make<Mutex>, "made"},
    {__LINE__, "Mutex::Mutex(char const*)",
     [](Maker<Mutex>& m) { m.made.emplace(static_cast<const char*>(nullptr)); },
     "made"},
};

// Each of the process, and each with a name that needs memory.
struct Waitables {
    NovuSemaphore semaphore;
    NovuEvent event;
    Event publicEvent;
    Mutex mutex;
    SemaphoreName name;

    std::string Shown() {
        int count = -1;
        semaphore.GetSemCounts(count);
        const int states[] = {semaphore.IsCreated(),  count,
                              event.IsOpened(),       event.Wait(0),
                              publicEvent.IsOpened(), publicEvent.Wait(0),
                              mutex.IsOpened()};
        std::string text;
        for (const int state : states) {
            text += std::to_string(state) + " ";
        }
        return text;
    }
};

const Operation<Waitables> kWaitables[] = {
    {__LINE__,
     "NovuSemaphore::Create(NovuSemaphore::SemInitState, char const*, int)",
     [](Waitables& w) {
         w.semaphore.Create(NovuSemaphore::Signalled, nullptr, 0);
     },
     "1 1 0 0 0 0 0 "},
    {__LINE__,
     "NovuSemaphore::Create(NovuSemaphore::SemInitState, char const*, int)",
     [](Waitables& w) {
         w.semaphore.Create(NovuSemaphore::Signalled, w.name, 0);
     },
     "1 1 0 0 0 0 0 "},
    {__LINE__, "NovuEvent::Create(int, int, char const*)",
     [](Waitables& w) { w.event.Create(1, 1, nullptr); }, "0 -1 1 1 0 0 0 "},
    {__LINE__, "NovuEvent::Create(int, int, char const*)",
     [](Waitables& w) { w.event.Create(1, 1, w.name); }, "0 -1 1 1 0 0 0 "},
    {__LINE__, "NovuEvent::Open(char const*)",  // The system's count is 1.
     [](Waitables& w) { w.event.Open(w.name); }, "0 -1 1 1 0 0 0 "},
    {__LINE__, "Event::Create(int, int, char const*)",
     [](Waitables& w) { w.publicEvent.Create(1, 1, nullptr); },
     "0 -1 0 0 1 1 0 "},
    {__LINE__, "Event::Open(char const*)",
     [](Waitables& w) { w.publicEvent.Open(w.name); }, "0 -1 0 0 1 1 0 "},
    {__LINE__, "Mutex::Create(char const*)",
     [](Waitables& w) { w.mutex.Create(nullptr); }, "0 -1 0 0 0 0 1 "},
    {__LINE__, "Mutex::Create(char const*)",
     [](Waitables& w) { w.mutex.Create(w.name); }, "0 -1 0 0 0 0 1 "},
    {__LINE__, "Mutex::Open(char const*)",
     [](Waitables& w) { w.mutex.Open(w.name); }, "0 -1 0 0 0 0 1 "},
};

TEST(AllocationFaultsTest, Waitables) {
    Walk(kEventMakers);
    Walk(kPublicEventMakers);
    Walk(kMutexMakers);
    Walk(kWaitables);
}

// Files

struct Directories {
    TempDir temp;
    std::string directory = temp.MakeDir("a directory of some length") + "/";
    std::string missing = temp / "one level/another level/a third level/";
    FileFind find;
    std::optional<FileFind> made;
    int answer = -1;
    long long size = -1;
    std::string text = "junk";

    Directories() { temp.Write("a directory of some length/file", "12345"); }

    std::string Shown() {
        const char* const name = find.GetFileName();
        return std::string(name != nullptr ? name : "none") + " " +
               std::to_string(find.GetFileSize()) + " " +
               std::to_string(answer) + " " + std::to_string(size) + " " +
               text + (made.has_value() ? " made" : "") +
               (std::filesystem::exists(missing) ? " there" : "");
    }
};

const Operation<Directories> kDirectories[] = {
    {__LINE__, "FileFind::FindFirst(std::string const&, std::string const&)",
     [](Directories& d) {
         d.answer = d.find.FindFirst(d.directory, "") ? 1 : 0;
     },
     "file 5 1 -1 junk"},
    {__LINE__, "FileFind::FileFind(std::string const&, std::string const&)",
     [](Directories& d) { d.made.emplace(d.directory, ""); },
     "none 0 -1 -1 junk made"},
    {__LINE__, "GetFileInfo(std::string const&, char const*, stat&)",
     [](Directories& d) {
         struct stat info {};
         d.answer = Novu::GetFileInfo(d.directory, "file", info) ? 1 : 0;
         d.size = info.st_size;
     },
     "none 0 1 5 junk"},
    {__LINE__,
     "FileSys::CreateDirLevel(std::string const&, unsigned long, int)",
     [](Directories& d) {
         d.answer =
             Novu::FileSys::CreateDirLevel(d.missing, d.temp.Path().size(), 0)
                 ? 1
                 : 0;
     },
     "none 0 1 -1 junk there"},
    {__LINE__, "FileSys::GetFileExt(std::string const&, std::string&)",
     [](Directories& d) {
         d.answer =
             Novu::FileSys::GetFileExt("file.a long extension", d.text) ? 1 : 0;
     },
     "none 0 1 -1 .a long extension"},
    {__LINE__, "GetModulePath(std::string&)",
     [](Directories& d) { Novu::GetModulePath(d.text); },
     "none 0 -1 -1 /a/directory/of/some/length"},
    {__LINE__, "GetModuleDir(std::string&)",
     [](Directories& d) { Novu::GetModuleDir(d.text); },
     "none 0 -1 -1 /a/directory/of/some/length"},
};

TEST(AllocationFaultsTest, Files) { Walk(kDirectories); }

// The stream gives each entry once.
TEST(AllocationFaultsTest, FindNextLosesNoEntryForWantOfMemory) {
    const TempDir temp;
    std::set<std::string> left = {".", ".."};
    for (const char* const name : {"a", "b", "c", "d", "e"}) {
        temp.Write(name, "");
        left.insert(name);
    }
    FileFind find;
    ASSERT_TRUE(find.FindFirst(temp.Path() + std::string(100, '/'), ""));
    for (bool found = true; found;) {
        left.erase(find.GetFileName());
        try {
            const FailingAllocation failing(1);
            found = find.FindNext();
        } catch (const std::bad_alloc&) {
            found = find.FindNext();
        }
    }
    for (const char* const name : {".", ".."}) {
        left.erase(name);  // FindFirst may have passed over them.
    }
    EXPECT_EQ(std::set<std::string>{}, left);
}

// Sizes

const Operation<Outputs> kSizes[] = {
    {__LINE__, "InsertSeperator(char*, char*, unsigned long)",
     [](Outputs& o) {
         char digits[] = "1234567890123456";
         Novu::InsertSeperator(digits, o.buffer, sizeof o.buffer);
     },
     "junk 1234567890123,456 -1"},
    {__LINE__, "GetSizeFormat(char*, unsigned long, long long)",
     [](Outputs& o) {
         o.answer = Novu::GetSizeFormat(o.buffer, sizeof o.buffer, LLONG_MIN);
     },
     "junk -9223372036854775,808 1"},
    {__LINE__, "GetSizeFormat(char*, unsigned long, double, int)",
     [](Outputs& o) {
         o.answer = Novu::GetSizeFormat(o.buffer, sizeof o.buffer, 1e12, 2);
     },
     "junk 10000000000,00.000000 1"},
    {__LINE__, "GetSizeFormat(std::string&, long long)",
     [](Outputs& o) { o.answer = Novu::GetSizeFormat(o.text, LLONG_MIN); },
     "-9223372036854775,808 junk 1"},
    {__LINE__, "GetSizeFormat(std::string&, double, int)",
     [](Outputs& o) { o.answer = Novu::GetSizeFormat(o.text, 1e12, 2); },
     "10000000000,00.000000 junk 1"},
};

TEST(AllocationFaultsTest, Sizes) { Walk(kSizes); }

// Guid

struct Guids {
    Guid guid;
    Outputs out;
    bool refused = false;

    Guids() { guid.FromString(kDigits); }

    std::string Shown() const {
        return out.Shown() + (refused ? " refused" : "") +
               (guid.Test(Guids::Value()) ? "" : " changed");
    }

    static Guid Value() {
        Guid value;
        value.FromString(kDigits);
        return value;
    }

    static constexpr const char* kDigits =
        "00112233-4455-6677-8899-aabbccddeeff";
};

const Operation<Guids> kGuids[] = {
    {__LINE__, "Guid::Generate()",
     [](Guids& g) { g.out.answer = g.guid.Generate() ? 1 : 0; },
     "junk junk 1 changed", 0, /*alwaysAllocates=*/false},
    {__LINE__, "Guid::ToString(std::string&, int) const",
     [](Guids& g) { g.out.answer = g.guid.ToString(g.out.text, 0) ? 1 : 0; },
     "0112233-4455-6677-8899-aabbccddeef junk 1"},
    {__LINE__, "Guid::ToString(int) const",
     [](Guids& g) { g.out.text = g.guid.ToString(1); },
     "00112233-4455-6677-8899-aabbccddeeff junk -1"},
    {__LINE__, "Guid::FromString(char const*)",  // The exception's message.
     [](Guids& g) {
         try {
             g.guid.FromString("no identifier");
         } catch (const std::runtime_error&) {
             g.refused = true;
         }
     },
     "junk junk -1 refused"},
    {__LINE__, "Guid::FromString(std::string const&)",
     [](Guids& g) {
         const std::string text = "no identifier";
         try {
             g.guid.FromString(text);
         } catch (const std::runtime_error&) {
             g.refused = true;
         }
     },
     "junk junk -1 refused"},
};

TEST(AllocationFaultsTest, Guid) { Walk(kGuids); }

// Pattern

struct Commands {
    class Counting : public Novu::Command {
    public:
        explicit Counting(int& counter) : count(&counter) {}
        void Execute() override { ++*count; }

    private:
        int* count;
    };

    int executed = 0;
    std::unique_ptr<Counting> waiting = std::make_unique<Counting>(executed);
    std::unique_ptr<MacroCommand> macro = std::make_unique<MacroCommand>();

    std::string Shown() {
        executed = 0;
        macro->Execute();
        return std::to_string(executed) + (waiting != nullptr ? " waits" : "");
    }
};

const Operation<Commands> kCommands[] = {
    {__LINE__, "MacroCommand::Add(Command*)",
     [](Commands& c) {
         c.macro->Add(c.waiting.get());  // Which stays ours, where it throws.
         (void)c.waiting.release();
     },
     "1"},
};

TEST(AllocationFaultsTest, Pattern) { Walk(kCommands); }

// String

const std::wstring kWide(kText.begin(), kText.end());

struct Texts {
    std::string narrow = "junk";
    std::wstring wide = L"junk";

    std::string Shown() const {
        return narrow + " " + std::string(wide.begin(), wide.end());
    }
};

const Operation<Texts> kTexts[] = {
    {__LINE__, "mbs_to_wcs(std::string const&, std::locale const&)",
     [](Texts& t) { t.wide = Novu::mbs_to_wcs(kText); }, "junk " + kText},
    {__LINE__, "tcs_to_wcs(std::string const&, std::locale const&)",
     [](Texts& t) { t.wide = Novu::tcs_to_wcs(kText); }, "junk " + kText},
    {__LINE__, "utf8_to_wcs(std::string const&)",
     [](Texts& t) { t.wide = Novu::utf8_to_wcs(kText); }, "junk " + kText},
    {__LINE__, "wcs_to_mbs(std::wstring const&, std::locale const&)",
     [](Texts& t) { t.narrow = Novu::wcs_to_mbs(kWide); }, kText + " junk"},
    {__LINE__, "wcs_to_tcs(std::wstring const&, std::locale const&)",
     [](Texts& t) { t.narrow = Novu::wcs_to_tcs(kWide); }, kText + " junk"},
    {__LINE__, "utf8_to_mbs(std::string const&, std::locale const&)",
     [](Texts& t) { t.narrow = Novu::utf8_to_mbs(kText); }, kText + " junk"},
    {__LINE__, "utf8_to_tcs(std::string const&, std::locale const&)",
     [](Texts& t) { t.narrow = Novu::utf8_to_tcs(kText); }, kText + " junk"},
    {__LINE__, "mbs_to_tcs(std::string const&, std::locale const&)",
     [](Texts& t) { t.narrow = Novu::mbs_to_tcs(kText); }, kText + " junk"},
    {__LINE__, "tcs_to_mbs(std::string const&, std::locale const&)",
     [](Texts& t) { t.narrow = Novu::tcs_to_mbs(kText); }, kText + " junk"},
};

TEST(AllocationFaultsTest, String) { Walk(kTexts); }

// Those that never return. No walk, since each call that gets as far leaves one
// byte behind.
const struct Endless {
    int line;
    const char* name;
    void (*run)();
} kEndless[] = {
    {__LINE__, "wcs_to_utf8(std::wstring const&)",
     [] { Novu::wcs_to_utf8(kWide); }},
    {__LINE__, "mbs_to_utf8(std::string const&, std::locale const&)",
     [] { Novu::mbs_to_utf8(kText); }},
    {__LINE__, "tcs_to_utf8(std::string const&, std::locale const&)",
     [] { Novu::tcs_to_utf8(kText); }},
};

// [string-4]
TEST(AllocationFaultsTest, ConversionsToUtf8LeaveOneByteAtMost) {
    for (const Endless& row : kEndless) {
        SCOPED_TRACE(row.name);
        bool failed = true;
        int failures = 0;
        for (unsigned long n = 1; failed; ++n) {
            const AllocationLedger ledger;
            bool ended = false;
            {
                const FailingAllocation failing(n);
                try {
                    row.run();
                } catch (const std::bad_alloc&) {
                    ended = true;
                } catch (const std::logic_error&) {
                    ended = FailingAllocation::IsPending();
                }
                failed = !FailingAllocation::IsPending();
            }
            EXPECT_TRUE(ended) << n;
            EXPECT_GE(1U, ledger.Blocks());
            EXPECT_EQ(ledger.Blocks(), ledger.Bytes());
            failures += failed ? 1 : 0;
        }
        EXPECT_LE(2, failures) << "the byte, and the message";
    }
}

// Threads

struct Threads : Novu::ThreadHandler {
    std::atomic<int> ran = 0;
    Thread thread;
    ThreadTaskPool pool;

    Threads() { thread.SetThreadHandler(this); }
    Threads(const Threads&) = delete;
    Threads& operator=(const Threads&) = delete;
    virtual ~Threads() = default;

    int OnPreThreadStart(Thread* /*of*/) override { return 1; }
    int OnThreadEntry(Thread* /*of*/) override {
        ++ran;
        return 0;
    }

    std::string Shown() {
        if (thread.IsThreadRunning() != 0 || pool.IsThreadRunning() != 0) {
            Eventually([&] { return ran != 0; });
        }
        return std::to_string(thread.IsThreadRunning()) + " " +
               (thread.GetHandle() != nullptr ? "handle " : "") +
               std::to_string(ran);
    }
};

const Operation<Maker<Thread>> kThreadMakers[] = {
    {__LINE__, "Thread::Thread()", Make<Thread>, "made"},
};

const Operation<Maker<ThreadTaskPool>> kPoolMakers[] = {
    {__LINE__, "ThreadTaskPool::ThreadTaskPool()", Make<ThreadTaskPool>,
     "made"},
};

const Operation<Threads> kThreads[] = {
    {__LINE__, "Thread::StartThread(int)",
     [](Threads& t) { t.thread.StartThread(0); }, "1 handle 1",
     1},  // The thread itself frees what it was given.
    {__LINE__, "ThreadTaskPool::Post(boost::function<void ()>)",
     [](Threads& t) {
         const std::array<char, 100> large{};
         t.pool.Post([&t, large] { t.ran += 1 + large[0]; });
         t.pool.OnThreadEntry();  // Not running, it runs none of them.
     },
     "0 0"},
};

using AllocationFaultsThreadTest = NovuTest::WithDeadline;

TEST_F(AllocationFaultsThreadTest, Threads) {
    Walk(kThreadMakers);
    Walk(kPoolMakers);
    Walk(kThreads);
}

// A start ends what runs ([thread-4]), and then leaves nothing half made.
TEST_F(AllocationFaultsThreadTest, AStartAgainWithoutMemoryLeavesNoneRunning) {
    Threads threads;
    int failures = 0;
    for (unsigned long n = 1;; ++n) {
        ASSERT_EQ(1, threads.thread.StartThread(0));
        try {
            const FailingAllocation failing(n);
            EXPECT_EQ(1, threads.thread.StartThread(0));
            break;
        } catch (const std::bad_alloc&) {
            ++failures;
            EXPECT_EQ(0, threads.thread.IsThreadRunning());
            EXPECT_EQ(nullptr, threads.thread.GetHandle());
            EXPECT_EQ(1, threads.thread.IsStopThread(0));
        }
    }
    EXPECT_LT(0, failures);
    EXPECT_EQ(1, threads.thread.IsThreadRunning());
}

// A task of which a post that failed has kept nothing runs once.
TEST_F(AllocationFaultsThreadTest, APostThatFailedLeavesNoTask) {
    Threads threads;
    int failures = 0;
    for (unsigned long n = 1;; ++n) {
        const std::array<char, 100> large{};
        try {
            const FailingAllocation failing(n);
            threads.pool.Post(
                [&threads, large] { threads.ran += 1 + large[0]; });
            break;
        } catch (const std::bad_alloc&) {
            ++failures;
        }
    }
    EXPECT_LT(1, failures);
    std::atomic<bool> last = false;
    threads.pool.Post([&last] { last = true; });
    ASSERT_EQ(1, threads.pool.StartThread(0));
    EXPECT_TRUE(Eventually([&] { return last.load(); }));
    threads.pool.StopThread(0xFFFFFFFF, 0);
    EXPECT_EQ(1, threads.ran);
}

// XML

const std::string kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

// In an element, and still writing.
struct Writers {
    XmlWriter writer;
    int answer = -1;

    Writers() {
        writer.BeginDocument("UTF-8");
        writer.BeginElement("a");
    }

    /// Ends the document once something was written.
    std::string Shown() {
        if (answer == -1) {
            return "open";
        }
        writer.EndDocument();
        unsigned long size = 0;
        const unsigned char* const bytes = writer.GetXmlBuffer(size);
        return std::to_string(answer) + " " +
               std::string(reinterpret_cast<const char*>(bytes), size)
                   .substr(kDeclaration.size());
    }

    static Guid Value() { return Guids::Value(); }
};

const std::string kGuidDigits = Guids::kDigits;

const Operation<Writers> kWriters[] = {
    {__LINE__, "XmlWriter::WriteAttribute(std::string const&, long long)",
     [](Writers& w) { w.answer = w.writer.WriteAttribute("k", LLONG_MIN); },
     "1 <a k=\"-9223372036854775808\"/>\n"},
    {__LINE__,
     "XmlWriter::WriteAttribute(std::string const&, unsigned long long)",
     [](Writers& w) { w.answer = w.writer.WriteAttribute("k", ULLONG_MAX); },
     "1 <a k=\"18446744073709551615\"/>\n"},
    {__LINE__, "XmlWriter::WriteAttribute(std::string const&, double)",
     [](Writers& w) { w.answer = w.writer.WriteAttribute("k", 1e12); },
     "1 <a k=\"1000000000000.000000\"/>\n"},
    {__LINE__,
     "XmlWriter::WriteAttribute(std::string const&, Guid const&, int)",
     [](Writers& w) {
         w.answer = w.writer.WriteAttribute("k", Writers::Value(), 1);
     },
     "1 <a k=\"" + kGuidDigits + "\"/>\n"},
    {__LINE__, "XmlWriter::WriteEntity(long long)",
     [](Writers& w) { w.answer = w.writer.WriteEntity(LLONG_MIN); },
     "1 <a>-9223372036854775808</a>\n"},
    {__LINE__, "XmlWriter::WriteEntity(unsigned long long)",
     [](Writers& w) { w.answer = w.writer.WriteEntity(ULLONG_MAX); },
     "1 <a>18446744073709551615</a>\n"},
    {__LINE__, "XmlWriter::WriteEntity(double)",
     [](Writers& w) { w.answer = w.writer.WriteEntity(1e12); },
     "1 <a>1000000000000.000000</a>\n"},
    {__LINE__, "XmlWriter::WriteEntity(Guid const&, int)",
     [](Writers& w) { w.answer = w.writer.WriteEntity(Writers::Value(), 1); },
     "1 <a>" + kGuidDigits + "</a>\n"},
    {__LINE__, "XmlWriter::WriteElementEntity(std::string const&, long long)",
     [](Writers& w) { w.answer = w.writer.WriteElementEntity("k", LLONG_MIN); },
     "1 <a><k>-9223372036854775808</k></a>\n"},
    {__LINE__,
     "XmlWriter::WriteElementEntity(std::string const&, unsigned long long)",
     [](Writers& w) {
         w.answer = w.writer.WriteElementEntity("k", ULLONG_MAX);
     },
     "1 <a><k>18446744073709551615</k></a>\n"},
    {__LINE__, "XmlWriter::WriteElementEntity(std::string const&, double)",
     [](Writers& w) { w.answer = w.writer.WriteElementEntity("k", 1e12); },
     "1 <a><k>1000000000000.000000</k></a>\n"},
    {__LINE__,
     "XmlWriter::WriteElementEntity(std::string const&, Guid const&, int)",
     [](Writers& w) {
         w.answer = w.writer.WriteElementEntity("k", Writers::Value(), 1);
     },
     "1 <a><k>" + kGuidDigits + "</k></a>\n"},
};

const Operation<Maker<XmlWriter>> kWriterMakers[] = {
    {__LINE__, "XmlWriter::XmlWriter()", Make<XmlWriter>, "made"},
};

const Operation<Maker<XmlReader>> kReaderMakers[] = {
    {__LINE__, "XmlReader::XmlReader()", Make<XmlReader>, "made"},
};

// A document whose names and texts need memory: "n..." and "t...".
const std::string kName(40, 'n');
const std::string kValue(40, '7');
const std::string kDocument =
    "<?xml version='1.0' encoding='UTF-8'?><" + kName + " " + kName + "='" +
    kValue + "'>" + kText + "<" + kName + "/><" + kName + "/></" + kName + ">";

const std::string& DocumentFile() {
    static const TempDir temp;
    static const std::string path =
        temp.Write("a document of some length", kDocument);
    return path;
}

struct Readers {
    std::string bytes = kDocument;
    XmlReader reader;
    std::string name = "junk";  // Of an attribute, it can be set on the way.
    std::string value = "junk";
    double number = -1;
    bool isSet = false;  // At the end of an operation.

    int Load() {
        return reader.Load(reinterpret_cast<unsigned char*>(bytes.data()),
                           bytes.size());
    }

    std::string Shown() {
        return std::string(reader.GetRootElement() != nullptr ? "full "
                                                              : "empty ") +
               (isSet ? name : "") + " " + value + " " +
               std::to_string(static_cast<int>(number));
    }
};

// With the document that they read.
struct LoadedReaders : Readers {
    XmlReader::Element* root;
    XmlReader::Attribute* attribute;

    LoadedReaders() {
        Load();
        root = reader.GetRootElement();
        attribute = reader.GetFirstAttribute(root);
    }

    template <typename Value>
    void ReadNumber(Value junk) {
        isSet = reader.GetAttribute(attribute, name, junk) == 1;
        number = junk > 0 ? 1 : 0;
    }
};

const Operation<Readers> kLoads[] = {
    {__LINE__, "XmlReader::Load(unsigned char*, unsigned long)",
     [](Readers& r) { r.Load(); }, "full  junk -1"},
    {__LINE__, "XmlReader::Load(std::string const&)",
     [](Readers& r) { r.reader.Load(DocumentFile()); }, "full  junk -1"},
};

const Operation<LoadedReaders> kReads[] = {
    {__LINE__, "XmlReader::GetElement(XmlReader::Element*, std::string&)",
     [](LoadedReaders& r) { r.reader.GetElement(r.root, r.value); },
     "full  " + kName + " -1"},
    {__LINE__, "XmlReader::GetEntity(XmlReader::Element*, std::string&)",
     [](LoadedReaders& r) { r.reader.GetEntity(r.root, r.value); },
     "full  " + kText + " -1"},
    {__LINE__, "XmlReader::ChildElement(XmlReader::Element*, std::string*)",
     [](LoadedReaders& r) { r.reader.ChildElement(r.root, &r.value); },
     "full  " + kName + " -1"},
    {__LINE__, "XmlReader::NextElement(XmlReader::Element*, std::string*)",
     [](LoadedReaders& r) {
         r.reader.NextElement(r.reader.ChildElement(r.root, nullptr), &r.value);
     },
     "full  " + kName + " -1"},
    {__LINE__,
     "XmlReader::GetAttribute(XmlReader::Attribute*, std::string&, "
     "std::string&)",
     [](LoadedReaders& r) {
         r.isSet = r.reader.GetAttribute(r.attribute, r.name, r.value) == 1;
     },
     "full " + kName + " " + kValue + " -1"},
    {__LINE__,
     "XmlReader::GetAttribute(XmlReader::Attribute*, std::string&, unsigned "
     "int&)",
     [](LoadedReaders& r) { r.ReadNumber(0U); }, "full " + kName + " junk 1"},
    {__LINE__,
     "XmlReader::GetAttribute(XmlReader::Attribute*, std::string&, unsigned "
     "char&)",
     [](LoadedReaders& r) { r.ReadNumber(static_cast<unsigned char>(0)); },
     "full " + kName + " junk 1"},
    {__LINE__,
     "XmlReader::GetAttribute(XmlReader::Attribute*, std::string&, unsigned "
     "long&)",
     [](LoadedReaders& r) { r.ReadNumber(0UL); }, "full " + kName + " junk 1"},
    {__LINE__,
     "XmlReader::GetAttribute(XmlReader::Attribute*, std::string&, double&)",
     [](LoadedReaders& r) { r.ReadNumber(0.0); }, "full " + kName + " junk 1"},
    {__LINE__,
     "XmlReader::GetAttribute(XmlReader::Attribute*, std::string&, Guid&)",
     [](LoadedReaders& r) {
         Guid guid;
         r.isSet = r.reader.GetAttribute(r.attribute, r.name, guid) == 1;
         r.number = guid.None() ? 0 : 1;
     },
     "full " + kName + " junk 1"},
};

TEST(AllocationFaultsTest, Xml) {
    DocumentFile();  // Written before blocks are counted.
    Walk(kWriterMakers);
    Walk(kWriters);
    Walk(kReaderMakers);
    Walk(kLoads);
    Walk(kReads);
}

// Start-up

const char* const kBasesInit = "BasesInit()";

TEST(AllocationFaultsTest, BasesInitWithoutMemoryLeavesTheLocaleAlone) {
    const NovuTest::GlobalLocale earlier("C");
    ASSERT_EQ(0, ::setenv("LC_ALL", "C.UTF-8", 1));
    unsigned long n = 1;
    for (bool failed = true; failed; ++n) {
        SCOPED_TRACE(n);
        const FailingAllocation failing(n);
        try {
            EXPECT_EQ(1, Novu::BasesInit());
            EXPECT_TRUE(FailingAllocation::IsPending());
            failed = false;
        } catch (const std::bad_alloc&) {
            EXPECT_EQ(std::locale::classic(), std::locale());
            EXPECT_STREQ("C", std::setlocale(LC_ALL, nullptr));
        }
    }
    EXPECT_LT(2U, n);
    EXPECT_EQ("C.UTF-8", std::locale().name());
    Novu::BasesRelease();
}

// The others

TEST(AllocationFaultsTest, OtherOperationsAllocateNothing) {
    for (const NovuTest::AllocationFree& row : NovuTest::kAllocationFree) {
        NovuTest::Everything everything;
        bool allocates = false;
        {
            const FailingAllocation failing(1);
            try {
                row.run(everything);
            } catch (const std::bad_alloc&) {
                allocates = true;
            }
            allocates = allocates || !FailingAllocation::IsPending();
        }
        EXPECT_FALSE(allocates) << row.name << " at line " << row.line;
    }
}

// Every operation is in one of the lists

std::string Replaced(std::string text, std::string_view from,
                     std::string_view to) {
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

// As the tables write it; empty for what is no function.
std::string NameOf(std::string exported) {
    exported = Replaced(exported,
                        "std::__cxx11::basic_string<char, "
                        "std::char_traits<char>, std::allocator<char> >",
                        "std::string");
    exported = Replaced(exported,
                        "std::__cxx11::basic_string<wchar_t, "
                        "std::char_traits<wchar_t>, std::allocator<wchar_t> >",
                        "std::wstring");
    exported = Replaced(exported, "[abi:cxx11]", "");
    const std::string name = Replaced(exported, "Novu::", "");
    const bool isData = name.find('(') == std::string::npos && name != exported;
    return isData ? "" : name;
}

std::set<std::string> ExportedOperations() {
    std::ifstream file(NOVU_EXPORTS);
    std::set<std::string> names;
    for (std::string line; std::getline(file, line);) {
        names.insert(NameOf(line));
    }
    names.erase("");
    return names;
}

template <typename Row, std::size_t count>
void AddNames(std::set<std::string>& names, const Row (&rows)[count]) {
    for (const Row& row : rows) {
        names.insert(row.name);
    }
}

template <typename... Tables>
std::set<std::string> NamesOf(const Tables&... tables) {
    std::set<std::string> names;
    (AddNames(names, tables), ...);
    return names;
}

std::set<std::string> Without(std::set<std::string> names,
                              const std::set<std::string>& others) {
    for (const std::string& other : others) {
        names.erase(other);
    }
    return names;
}

TEST(AllocationFaultsTest, NoExportedOperationIsMissing) {
    std::set<std::string> walked =
        NamesOf(kBase64, kBits, kBuffers, kBufferMakers, kCiphers, kFormats,
                kAppended, kEventMakers, kPublicEventMakers, kMutexMakers,
                kWaitables, kDirectories, kSizes, kGuids, kCommands, kTexts,
                kEndless, kThreadMakers, kPoolMakers, kThreads, kWriterMakers,
                kWriters, kReaderMakers, kLoads, kReads);
    walked.insert(kBasesInit);
    const std::set<std::string> others = NamesOf(NovuTest::kAllocationFree);
    EXPECT_EQ(std::size(NovuTest::kAllocationFree), others.size());

    const std::set<std::string> exported = ExportedOperations();
    const std::set<std::string> none;
    EXPECT_LT(300U, exported.size());
    EXPECT_EQ(none, Without(Without(exported, walked), others)) << "missing";
    EXPECT_EQ(none, Without(walked, exported)) << "not exported";
    EXPECT_EQ(none, Without(others, exported)) << "not exported";
    EXPECT_EQ(walked, Without(walked, others)) << "in both lists";
    testing::Test::RecordProperty("walked", static_cast<int>(walked.size()));
    testing::Test::RecordProperty("others", static_cast<int>(others.size()));
}

}  // namespace
