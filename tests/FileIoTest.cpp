// The contract of Bases/FileIo.h.
//
// The library's calls of the system pass through the stand-ins below. While a
// SystemCalls lives, they are recorded as text and answered as its script says.
// Descriptors that a script invents are 41 and above; "p" is a path that is
// never looked at.

#include "Bases/FileIo.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/Allocation.h"
#include "tests/support/AsUser.h"
#include "tests/support/Descriptors.h"
#include "tests/support/FileCalls.h"
#include "tests/support/NextSymbol.h"
#include "tests/support/ObjectBytes.h"
#include "tests/support/SystemCalls.h"
#include "tests/support/TempDir.h"
#include "tests/support/Umask.h"
#include "tests/support/VirtualSlots.h"

using NovuTest::Called;
using NovuTest::NextSymbol;

extern "C" {

int fsync(int fd) {
    static auto* const next = NextSymbol<int(int)>("fsync");
    return Called(
        "fsync", [&] { return std::to_string(fd); }, [&] { return next(fd); });
}

}  // extern "C"

namespace {

using Novu::FileIo;
using NovuTest::AsUser;
using NovuTest::ContentOf;
using NovuTest::Fails;
using NovuTest::FieldAt;
using NovuTest::Log;
using NovuTest::OpenDescriptors;
using NovuTest::Outcome;
using NovuTest::Reply;
using NovuTest::SetFieldAt;
using NovuTest::SystemCalls;
using NovuTest::TempDir;
using NovuTest::Umask;

const unsigned int kRead = 0x80000000;
const unsigned int kWrite = 0x40000000;
const unsigned int kBoth = 0xC0000000;
const unsigned int kExisting = 4;  // A creation code.

// The object behind its interface: a table pointer, the answer of Seek while
// closed, the descriptor, a path.
const std::size_t kPositionAt = sizeof(void*);
const std::size_t kDescriptorAt = kPositionAt + sizeof(long long);
const std::size_t kPathAt = kDescriptorAt + 8;

static_assert(sizeof(FileIo) == kPathAt + sizeof(std::string));
static_assert(std::has_virtual_destructor_v<FileIo>);
static_assert(!std::is_copy_constructible_v<FileIo>);
static_assert(!std::is_copy_assignable_v<FileIo>);
static_assert(sizeof(FileIo::InvalidFileIoHandle) == 4);
static_assert(static_cast<std::uint32_t>(FileIo::InvalidFileIoHandle) ==
              0xFFFFFFFF);

template <auto Operation, typename Signature>
constexpr bool kIs = std::is_same_v<decltype(Operation), Signature FileIo::*>;

static_assert(kIs<&FileIo::Open, bool(const std::string&, unsigned int,
                                      unsigned int, unsigned int)>);
static_assert(kIs<&FileIo::Close, void()>);
static_assert(kIs<&FileIo::IsOpened, bool()>);
static_assert(kIs<&FileIo::Read, unsigned int(void*, unsigned int)>);
static_assert(kIs<&FileIo::Write, unsigned int(void*, unsigned int)>);
static_assert(kIs<&FileIo::Seek, long long(long long, unsigned int)>);
static_assert(kIs<&FileIo::SeekFromBegin, long long(long long)>);
static_assert(kIs<&FileIo::SeekToBegin, long long()>);
static_assert(kIs<&FileIo::SeekFromEnd, long long(long long)>);
static_assert(kIs<&FileIo::SeekToEnd, long long()>);
static_assert(kIs<&FileIo::Tell, long long()>);
static_assert(kIs<&FileIo::GetFileSize, long long()>);
static_assert(kIs<&FileIo::SetEndOfFile, bool()>);
static_assert(kIs<&FileIo::SetFileSize, bool(long long)>);
static_assert(kIs<&FileIo::Flush, bool()>);
static_assert(
    std::is_same_v<decltype(std::declval<FileIo&>().GetPath()), std::string>);
static_assert(std::is_void_v<decltype(std::declval<FileIo&>().GetPath(
                  std::declval<std::string&>()))>);

int DescriptorOf(const FileIo& io) { return FieldAt<int>(&io, kDescriptorAt); }

std::string& PathOf(FileIo& io) {
    return NovuTest::PartAt<std::string>(&io, kPathAt);
}

// Opens `io` on the descriptor `fd`, which is made up.
void OpenInvented(SystemCalls& calls, FileIo& io, int fd = 41) {
    calls.Always("close", {0});
    calls.Script("open", {{fd}});
    ASSERT_TRUE(io.Open("p", kBoth, 0, kExisting));
    ASSERT_EQ(fd, DescriptorOf(io));
    calls.Take();
}

std::string Text(const std::string& path, FileIo& io, unsigned int length) {
    std::string text(length, '?');
    text.resize(io.Read(text.data(), length));
    EXPECT_GE(length, text.size()) << path;
    return text;
}

class FileIoTest : public testing::Test {
protected:
    // Descriptor 0 is taken, as it is in most programs.
    static void SetUpTestSuite() {
        if (::fcntl(0, F_GETFD) == -1) {
            ASSERT_EQ(0, ::open("/dev/null", O_RDONLY));
        }
    }
};

// Lifetime and fields

TEST_F(FileIoTest, ANewOneIsClosed) {
    SystemCalls calls;
    {
        FileIo io;
        EXPECT_FALSE(io.IsOpened());
        EXPECT_EQ("", io.GetPath());
        EXPECT_EQ(-1, FieldAt<long long>(&io, kPositionAt));
        EXPECT_EQ(-1, DescriptorOf(io));
        EXPECT_EQ("", PathOf(io));
    }
    EXPECT_EQ(Log{}, calls.Take()) << "nor does the destructor call";
}

TEST_F(FileIoTest, TheInvalidHandleHasAnAddress) {
    const int* const address = &FileIo::InvalidFileIoHandle;
    EXPECT_EQ(-1, *address);
}

TEST_F(FileIoTest, TheDestructorIsTheOnlyVirtualOperation) {
    EXPECT_EQ(0, NovuTest::VirtualOperations<FileIo>());
}

TEST_F(FileIoTest, TheFieldsStandInTheirOrder) {
    SystemCalls calls;
    FileIo io;
    OpenInvented(calls, io, 43);
    EXPECT_EQ(-1, FieldAt<long long>(&io, kPositionAt));
    io.Close();
    EXPECT_EQ(-1, FieldAt<long long>(&io, kPositionAt));
    EXPECT_EQ(-1, DescriptorOf(io));

    SetFieldAt(&io, kPositionAt, 77LL);
    EXPECT_EQ(77, io.Seek(0, 0)) << "the answer while closed";
    SetFieldAt(&io, kPositionAt, -1LL);
}

TEST_F(FileIoTest, AnyOtherDescriptorCountsAsOpen) {
    SystemCalls calls;
    calls.Always("close", {0});
    FileIo io;
    for (const int fd : {0, 1, INT_MAX, -2, INT_MIN}) {
        SetFieldAt(&io, kDescriptorAt, fd);
        EXPECT_TRUE(io.IsOpened()) << fd;
        io.Close();
        EXPECT_EQ(Log{"close " + std::to_string(fd)}, calls.Take());
        EXPECT_FALSE(io.IsOpened()) << fd;
    }
    EXPECT_EQ(Log{}, calls.Take());
}

TEST_F(FileIoTest, ThePathIsCopiedOutAndClearedByClose) {
    SystemCalls calls;
    calls.Always("close", {0});
    FileIo io;
    for (const bool opened : {false, true}) {
        PathOf(io) = std::string(100, 'x');
        EXPECT_EQ(std::string(100, 'x'), io.GetPath());
        std::string out = "junk";
        io.GetPath(out);
        EXPECT_EQ(std::string(100, 'x'), out);
        if (opened) {
            SetFieldAt(&io, kDescriptorAt, 41);
        }
        io.Close();
        EXPECT_EQ("", PathOf(io));
    }
    PathOf(io) = "x";
    EXPECT_FALSE(io.Open("p", kRead, 0, 0));
    EXPECT_EQ("", PathOf(io)) << "Open closes first";
}

// [fileio-3]
TEST_F(FileIoTest, NoPathIsKept) {
    const TempDir temp;
    FileIo io;
    ASSERT_TRUE(io.Open(temp.Write("a", "x"), kRead, 3, kExisting));
    EXPECT_EQ("", io.GetPath());
    std::string out = "junk";
    io.GetPath(out);
    EXPECT_EQ("", out);
    EXPECT_FALSE(io.Open(temp / "missing", kRead, 3, kExisting));
    EXPECT_EQ("", io.GetPath());
}

TEST_F(FileIoTest, CloseClosesOnceWhateverTheSystemAnswers) {
    SystemCalls calls;
    FileIo io;
    for (const Reply reply : {Reply{0}, Fails(EINTR), Fails(EIO)}) {
        OpenInvented(calls, io);
        calls.Script("close", {reply});
        errno = 0;
        io.Close();
        EXPECT_EQ(reply.error, errno);
        EXPECT_FALSE(io.IsOpened());
        io.Close();
        EXPECT_EQ(Log{"close 41"}, calls.Take());
    }
}

TEST_F(FileIoTest, TheDestructorCloses) {
    const TempDir temp;
    const std::string path = temp.Write("a", "x");
    const std::vector<int> before = OpenDescriptors();
    const NovuTest::AllocationLedger ledger;
    auto* const io = new FileIo();
    EXPECT_TRUE(io->Open(path, kRead, 3, kExisting));
    EXPECT_NE(before, OpenDescriptors());
    delete io;
    EXPECT_EQ(before, OpenDescriptors());

    SystemCalls calls;
    {
        FileIo invented;
        OpenInvented(calls, invented);
    }
    EXPECT_EQ(Log{"close 41"}, calls.Take());
}

// Open

// The flags beside those of the access, for each creation code; null where
// there is no such attempt.
const struct CreationCase {
    int line;
    unsigned int creation;
    const char* first;
    const char* second;  // Unless the share code is 3.
    const char* secondShared;
} kCreationCases[] = {
    {__LINE__, 0, nullptr, nullptr, nullptr},
    {__LINE__, 1, "|O_CREAT|O_EXCL", "|O_CREAT|O_EXCL", "|O_CREAT|O_EXCL"},
    {__LINE__, 2, "|O_CREAT|O_TRUNC", "|O_CREAT|O_EXCL|O_TRUNC",
     "|O_CREAT|O_TRUNC"},
    {__LINE__, 3, "|O_CREAT|O_TRUNC", "|O_CREAT|O_EXCL|O_TRUNC",
     "|O_CREAT|O_TRUNC"},
    {__LINE__, 4, "", nullptr, nullptr},
    {__LINE__, 5, "|O_CREAT|O_EXCL|O_TRUNC", nullptr, nullptr},
    {__LINE__, 6, "|O_CREAT|O_TRUNC", nullptr, nullptr},
    {__LINE__, 7, "|O_CREAT|O_TRUNC", nullptr, nullptr},
};

const struct AccessCase {
    unsigned int access;
    const char* text;  // Null where it is refused.
} kAccessCases[] = {
    {0, nullptr}, {kRead, "O_RDONLY"}, {kWrite, "O_WRONLY"}, {kBoth, "O_RDWR"}};

// What the system answers to the two attempts.
const struct AttemptCase {
    Reply first;
    Reply second;
} kAttemptCases[] = {
    {{41}, {99}},                    // The second is not asked for.
    {{1}, {99}},                     // The smallest that is accepted.
    {{INT_MAX}, {99}},               //
    {Fails(EACCES), {42}},           //
    {Fails(EACCES), {0}},            // 0 is accepted here.
    {Fails(EACCES), Fails(ENOSPC)},  //
    {{-2, EACCES}, {-2, ENOSPC}},    // Any negative one is none.
    {{0}, {42}},                     // 0 is closed after the second.
    {{0}, Fails(ENOSPC)},            //
    {Fails(EINTR), Fails(EINTR)},    // No third attempt.
};

std::string OpenLine(const char* access, const char* flags) {
    std::string line = "open p ";
    line += access;
    line += flags;
    if (std::strstr(flags, "O_CREAT") != nullptr) {
        line += " 0600";
    }
    return line;
}

void CheckOpen(const CreationCase& row, const AccessCase& access,
               unsigned int share, bool junk, const AttemptCase& attempts) {
    // All the bits that mean nothing.
    const unsigned int creation = row.creation | (junk ? ~7U : 0U);
    const unsigned int accessCode = access.access | (junk ? 0x3FFFFFFFU : 0U);
    const unsigned int shareCode = share | (junk ? ~3U : 0U);

    Log expected;
    int descriptor = -1;
    int error = 0;
    if (row.first == nullptr) {
        error = EOPNOTSUPP;
    } else if (access.text != nullptr) {
        expected.push_back(OpenLine(access.text, row.first));
        Reply reply = attempts.first;
        const char* const second = share == 3 ? row.secondShared : row.second;
        error = reply.error;
        if (second != nullptr && reply.result <= 0) {
            expected.push_back(OpenLine(access.text, second));
            reply = attempts.second;
            if (attempts.first.result == 0) {
                expected.emplace_back("close 0");
            }
            error = reply.error == 0 ? error : reply.error;
        }
        descriptor = reply.result < 0 ? -1 : static_cast<int>(reply.result);
    }

    SystemCalls calls;
    // A refused close in between leaves errno alone.
    calls.Always("close", {-1, EIO});
    calls.Script("open", {attempts.first, attempts.second});
    FileIo io;
    errno = 0;
    const bool opened = io.Open("p", accessCode, shareCode, creation);
    EXPECT_EQ(error, errno);
    EXPECT_EQ(descriptor >= 0, opened);
    EXPECT_EQ(descriptor >= 0, io.IsOpened());
    EXPECT_EQ(descriptor, DescriptorOf(io));
    EXPECT_EQ(expected, calls.Take());
}

// [fileio-2]
TEST_F(FileIoTest, OpenMakesTheAttemptsOfItsCodes) {
    for (const CreationCase& row : kCreationCases) {
        for (const AccessCase& access : kAccessCases) {
            for (unsigned int share = 0; share < 4; ++share) {
                for (const bool junk : {false, true}) {
                    int attempt = 0;
                    for (const AttemptCase& attempts : kAttemptCases) {
                        CheckOpen(row, access, share, junk, attempts);
                        ASSERT_FALSE(HasFailure())
                            << "row at line " << row.line << ", access "
                            << access.access << ", share " << share << ", junk "
                            << junk << ", attempts " << attempt;
                        ++attempt;
                    }
                }
            }
        }
    }
}

TEST_F(FileIoTest, OpenClosesFirstAlsoWhenItRefuses) {
    for (const auto& [access, creation, opens] :
         {std::tuple{kBoth, kExisting, true}, std::tuple{kBoth, 0U, false},
          std::tuple{0U, kExisting, false}, std::tuple{0U, 0U, false}}) {
        SystemCalls calls;
        FileIo io;
        OpenInvented(calls, io, 41);
        calls.Script("open", {Fails(ENOENT)});
        errno = 0;
        EXPECT_FALSE(io.Open("p", access, 3, creation));
        Log expected{"close 41"};
        if (opens) {
            expected.emplace_back("open p O_RDWR");
        }
        EXPECT_EQ(expected, calls.Take());
        EXPECT_FALSE(io.IsOpened());
        const int noAttempt = creation == 0 ? EOPNOTSUPP : 0;
        EXPECT_EQ(opens ? ENOENT : noAttempt, errno);
    }
}

TEST_F(FileIoTest, OpenPassesTheNameUnchanged) {
    for (const std::string name : {"", " /a//../b ", "\xff\x01"}) {
        SystemCalls calls;
        calls.Always("open", Fails(ENOENT));
        FileIo io;
        EXPECT_FALSE(io.Open(name, kRead, 0, 5));
        EXPECT_EQ((Log{"open " + name +
                       " O_RDONLY|O_CREAT|O_EXCL|O_TRUNC "
                       "0600"}),
                  calls.Take());
    }
}

const struct FileCase {
    int line;
    unsigned int creation;
    bool opensExisting;
    bool emptiesIt;
    bool createsMissing;
} kFileCases[] = {
    {__LINE__, 0, false, false, false}, {__LINE__, 1, false, false, true},
    {__LINE__, 2, true, true, true},    {__LINE__, 3, true, true, true},
    {__LINE__, 4, true, false, false},  {__LINE__, 5, false, false, true},
    {__LINE__, 6, true, true, true},    {__LINE__, 7, true, true, true},
};

// [fileio-1]
TEST_F(FileIoTest, OpenMakesAndEmptiesRealFiles) {
    const TempDir temp;
    const std::string content(100, 'x');
    const std::vector<int> before = OpenDescriptors();
    for (const FileCase& row : kFileCases) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        for (const unsigned int access : {kRead, kWrite, kBoth}) {
            for (unsigned int share = 0; share < 4; ++share) {
                const std::string existing = temp.Write("existing", content);
                const std::string missing = temp / "missing";
                FileIo io;
                EXPECT_EQ(row.opensExisting,
                          io.Open(existing, access, share, row.creation));
                EXPECT_EQ(row.opensExisting, io.IsOpened());
                EXPECT_EQ(row.emptiesIt ? "" : content, ContentOf(existing));

                EXPECT_EQ(row.createsMissing,
                          io.Open(missing, access, share, row.creation));
                EXPECT_EQ(row.createsMissing, io.IsOpened());
                EXPECT_EQ(row.createsMissing, std::filesystem::exists(missing));
                io.Close();
                std::filesystem::remove(missing);
            }
        }
    }
    EXPECT_EQ(before, OpenDescriptors());
}

TEST_F(FileIoTest, NewFilesAreTheOwnersAlone) {
    const TempDir temp;
    for (const auto& [mask, mode] :
         {std::pair<mode_t, mode_t>{0, 0600}, {0277, 0400}}) {
        const Umask umask(mask);
        for (const unsigned int creation : {1U, 2U, 5U}) {
            const std::string path = temp / "new";
            FileIo io;
            EXPECT_TRUE(io.Open(path, kBoth, 0, creation));
            struct stat status {};
            EXPECT_EQ(0, ::stat(path.c_str(), &status));
            EXPECT_EQ(mode, status.st_mode & 07777U);
            std::filesystem::remove(path);
        }
    }
}

TEST_F(FileIoTest, TheAccessIsThatOfTheCode) {
    const TempDir temp;
    for (const unsigned int access : {kRead, kWrite, kBoth}) {
        FileIo io;
        ASSERT_TRUE(io.Open(temp.Write("a", "abc"), access, 0, kExisting));
        char got = '?';
        errno = 0;
        EXPECT_EQ((access & kRead) != 0 ? 1U : 0U, io.Read(&got, 1));
        EXPECT_EQ((access & kRead) != 0 ? 'a' : '?', got);
        EXPECT_EQ((access & kRead) != 0 ? 0 : EBADF, errno);
        char given = 'X';
        errno = 0;
        EXPECT_EQ((access & kWrite) != 0 ? 1U : 0U, io.Write(&given, 1));
        EXPECT_EQ((access & kWrite) != 0 ? 0 : EBADF, errno);
    }
}

TEST_F(FileIoTest, ADirectoryOpensOnlyForReadingAsItIs) {
    const TempDir temp;
    FileIo io;
    EXPECT_TRUE(io.Open(temp.Path(), kRead, 0, kExisting));
    char byte = '?';
    errno = 0;
    EXPECT_EQ(0U, io.Read(&byte, 1));
    EXPECT_EQ(EISDIR, errno);
    EXPECT_EQ('?', byte);
    EXPECT_FALSE(io.Open(temp.Path(), kWrite, 0, kExisting));
    EXPECT_EQ(EISDIR, errno);
    EXPECT_FALSE(io.Open(temp.Path(), kRead, 3, 3));
    EXPECT_FALSE(io.IsOpened());
}

// [fileio-1]
TEST_F(FileIoTest, EmptyingNeedsTheRightToWrite) {
    const TempDir temp;
    ASSERT_TRUE(NovuTest::OpenToAll(temp));
    const std::string path = temp.Write("a", "content");
    ASSERT_EQ(0, ::chmod(path.c_str(), 0444));
    EXPECT_EQ(Outcome::Held, AsUser([&] {
                  FileIo io;
                  errno = 0;
                  EXPECT_FALSE(io.Open(path, kRead, 3, 3));
                  EXPECT_EQ(EACCES, errno);
                  EXPECT_FALSE(io.Open(path, kWrite, 3, kExisting));
                  EXPECT_TRUE(io.Open(path, kRead, 3, kExisting));
              }));
    EXPECT_EQ("content", ContentOf(path));

    const bool allowed = ::access(path.c_str(), W_OK) == 0;  // Of root.
    FileIo io;
    EXPECT_EQ(allowed, io.Open(path, kRead, 3, 3));
    EXPECT_EQ(allowed ? "" : "content", ContentOf(path));
}

// In a child, which may lose its standard input.
// [fileio-2]
TEST_F(FileIoTest, DescriptorZeroIsPassedOverByTheFirstAttempt) {
    const TempDir temp;
    ASSERT_TRUE(NovuTest::OpenToAll(temp));
    EXPECT_EQ(Outcome::Held, AsUser([&] {
                  ::close(0);
                  const std::vector<int> before = OpenDescriptors();
                  FileIo io;
                  EXPECT_TRUE(io.Open(temp / "shared", kBoth, 3, 2));
                  EXPECT_LT(0, DescriptorOf(io));
                  EXPECT_EQ(-1, ::fcntl(0, F_GETFD));
                  io.Close();
                  EXPECT_EQ(before, OpenDescriptors());

                  // The first attempt has made it, so the second fails.
                  errno = 0;
                  EXPECT_FALSE(io.Open(temp / "alone", kBoth, 0, 2));
                  EXPECT_EQ(EEXIST, errno);
                  EXPECT_EQ("", ContentOf(temp / "alone"));
                  // What was there is lost all the same.
                  EXPECT_TRUE(io.Open(temp / "old", kBoth, 3, 2));
                  char old[] = "old";
                  EXPECT_EQ(3U, io.Write(old, 3));
                  EXPECT_FALSE(io.Open(temp / "old", kBoth, 0, 2));
                  EXPECT_EQ("", ContentOf(temp / "old"));
                  EXPECT_FALSE(io.Open(temp / "new", kBoth, 3, 1));
                  EXPECT_TRUE(std::filesystem::exists(temp / "new"));
                  EXPECT_EQ(before, OpenDescriptors());

                  EXPECT_TRUE(io.Open(temp / "new", kBoth, 0, kExisting));
                  EXPECT_EQ(0, DescriptorOf(io));
                  EXPECT_TRUE(io.IsOpened());
                  char text[] = "abc";
                  EXPECT_EQ(3U, io.Write(text, 3));
                  EXPECT_EQ(3, io.GetFileSize());
                  io.Close();
                  EXPECT_EQ(before, OpenDescriptors());
              }));
}

// Contents

const struct CountCase {
    int line;
    unsigned int length;
    Reply reply;
    unsigned int count;
} kCountCases[] = {
    {__LINE__, 10, {10}, 10},
    {__LINE__, 10, {3}, 3},
    {__LINE__, 10, {0}, 0},
    {__LINE__, 10, Fails(EINTR), 0},
    {__LINE__, 10, Fails(EAGAIN), 0},
    {__LINE__, 10, {-7, EIO}, 0},
    {__LINE__, 0, {0}, 0},
    {__LINE__, 0x80000000, {0x7FFFF000}, 0x7FFFF000},
    {__LINE__, 0xFFFFFFFF, {0xFFFFFFFF}, 0xFFFFFFFF},
    {__LINE__, 0xFFFFFFFF, Fails(EFAULT), 0},
};

TEST_F(FileIoTest, OneReadIsOneReadAndOneWriteOneWrite) {
    for (const CountCase& row : kCountCases) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        SystemCalls calls;
        FileIo io;
        OpenInvented(calls, io);
        char buffer[10] = {};
        const std::string arguments = " 41 " + std::to_string(row.length);
        for (const std::string function : {"read", "write"}) {
            calls.Script(function, {row.reply});
            NovuTest::PassedBuffer() = nullptr;
            errno = 0;
            EXPECT_EQ(row.count, function == "read"
                                     ? io.Read(buffer, row.length)
                                     : io.Write(buffer, row.length));
            EXPECT_EQ(row.reply.error, errno);
            EXPECT_EQ(buffer, NovuTest::PassedBuffer());
            EXPECT_EQ(Log{function + arguments}, calls.Take());
            EXPECT_TRUE(io.IsOpened());
        }
    }
}

TEST_F(FileIoTest, WhatIsWrittenIsRead) {
    const TempDir temp;
    FileIo io;
    ASSERT_TRUE(io.Open(temp / "a", kBoth, 0, 1));
    std::string text = "0123456789";
    EXPECT_EQ(10U, io.Write(text.data(), 10));
    EXPECT_EQ(0U, io.Write(text.data(), 0));
    EXPECT_EQ("0123456789", ContentOf(temp / "a")) << "without a Flush";
    EXPECT_EQ("", Text("a", io, 5)) << "at the end";
    EXPECT_EQ(4, io.SeekFromBegin(4));
    EXPECT_EQ("", Text("a", io, 0));
    EXPECT_EQ("45", Text("a", io, 2));
    EXPECT_EQ(2U, io.Write(text.data(), 2));
    EXPECT_EQ("89", Text("a", io, 100)) << "as many as there are";
    EXPECT_EQ("0123450189", ContentOf(temp / "a"));
    EXPECT_TRUE(io.Flush());

    // Exact blocks: nothing else is written to.
    std::vector<char> block(10, '?');
    EXPECT_EQ(8, io.SeekFromBegin(8));
    EXPECT_EQ(2U, io.Read(block.data(), 10));
    EXPECT_EQ("89????????", std::string(block.begin(), block.end()));
}

TEST_F(FileIoTest, FlushIsOneFsync) {
    for (const Reply reply : {Reply{0}, Fails(EIO), Fails(EINTR), Reply{1}}) {
        SystemCalls calls;
        FileIo io;
        OpenInvented(calls, io);
        calls.Script("fsync", {reply});
        errno = 0;
        EXPECT_EQ(reply.result == 0, io.Flush());
        EXPECT_EQ(reply.error, errno);
        EXPECT_EQ(Log{"fsync 41"}, calls.Take());
    }
}

// Position

struct SeekCase {
    int line;
    std::function<long long(FileIo&)> seek;
    const char* call;  // What lseek gets after the descriptor.
};

const std::vector<SeekCase>& SeekCases() {
    const long long most = LLONG_MAX;
    const long long least = LLONG_MIN;
    static const std::vector<SeekCase> cases = {
        {__LINE__, [](FileIo& io) { return io.Seek(5, 0); }, "5 SEEK_SET"},
        {__LINE__, [](FileIo& io) { return io.Seek(-5, 0); }, "-5 SEEK_SET"},
        {__LINE__, [](FileIo& io) { return io.Seek(5, 1); }, "5 SEEK_CUR"},
        {__LINE__, [](FileIo& io) { return io.Seek(-5, 1); }, "-5 SEEK_CUR"},
        {__LINE__, [](FileIo& io) { return io.Seek(5, 2); }, "5 SEEK_END"},
        {__LINE__, [](FileIo& io) { return io.Seek(-5, 2); }, "-5 SEEK_END"},
        {__LINE__, [=](FileIo& io) { return io.Seek(most, 0); },
         "9223372036854775807 SEEK_SET"},
        {__LINE__, [=](FileIo& io) { return io.Seek(least, 2); },
         "-9223372036854775808 SEEK_END"},
        {__LINE__, [](FileIo& io) { return io.Tell(); }, "0 SEEK_CUR"},
        // These four do not look whether a file is open.
        {__LINE__, [](FileIo& io) { return io.SeekToBegin(); }, "0 SEEK_SET"},
        {__LINE__, [](FileIo& io) { return io.SeekToEnd(); }, "0 SEEK_END"},
        {__LINE__, [](FileIo& io) { return io.SeekFromBegin(7); },
         "7 SEEK_SET"},
        {__LINE__, [](FileIo& io) { return io.SeekFromBegin(-7); },
         "-7 SEEK_SET"},
        {__LINE__, [=](FileIo& io) { return io.SeekFromBegin(least); },
         "-9223372036854775808 SEEK_SET"},
        {__LINE__, [](FileIo& io) { return io.SeekFromEnd(7); }, "-7 SEEK_END"},
        {__LINE__, [](FileIo& io) { return io.SeekFromEnd(-7); }, "7 SEEK_END"},
        {__LINE__, [](FileIo& io) { return io.SeekFromEnd(0); }, "0 SEEK_END"},
        {__LINE__, [=](FileIo& io) { return io.SeekFromEnd(most); },
         "-9223372036854775807 SEEK_END"},
        {__LINE__, [=](FileIo& io) { return io.SeekFromEnd(least); },
         "-9223372036854775808 SEEK_END"},
    };
    return cases;
}

// [fileio-4]
// [fileio-7]
TEST_F(FileIoTest, EverySeekIsOneLseek) {
    for (const SeekCase& row : SeekCases()) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        for (const Reply reply : {Reply{0}, Reply{1}, Reply{0x123456789AB},
                                  Reply{LLONG_MAX}, Fails(EINVAL), Fails(EINTR),
                                  Reply{-2, EIO}, Reply{LLONG_MIN, EIO}}) {
            SystemCalls calls;
            FileIo io;
            OpenInvented(calls, io);
            calls.Script("lseek", {reply});
            errno = 0;
            EXPECT_EQ(reply.result < 0 ? 0 : reply.result, row.seek(io));
            EXPECT_EQ(reply.error, errno);
            EXPECT_EQ(Log{std::string("lseek 41 ") + row.call}, calls.Take());
        }
    }
}

TEST_F(FileIoTest, SeekRefusesEveryOtherOrigin) {
    const TempDir temp;
    FileIo io;
    ASSERT_TRUE(io.Open(temp.Write("a", "0123456789"), kRead, 0, kExisting));
    EXPECT_EQ(4, io.SeekFromBegin(4));
    SystemCalls calls;
    // 3 and 4 are SEEK_DATA and SEEK_HOLE on Linux.
    for (const unsigned int origin :
         {3U, 4U, 5U, 0x80000000U, 0x80000001U, 0xFFFFFFFFU}) {
        errno = 0;
        EXPECT_EQ(0, io.Seek(1, origin)) << origin;
        EXPECT_EQ(0, errno);
    }
    EXPECT_EQ(Log{}, calls.Take());
    EXPECT_EQ(4, io.Tell());
}

TEST_F(FileIoTest, SeeksMoveInARealFile) {
    const TempDir temp;
    FileIo io;
    ASSERT_TRUE(io.Open(temp.Write("a", "0123456789"), kRead, 0, kExisting));
    EXPECT_EQ(0, io.Tell());
    EXPECT_EQ(3, io.Seek(3, 0));
    EXPECT_EQ(3, io.Tell());
    EXPECT_EQ(5, io.Seek(2, 1));
    EXPECT_EQ(1, io.Seek(-4, 1));
    EXPECT_EQ(8, io.Seek(-2, 2));
    EXPECT_EQ("8", Text("a", io, 1));
    EXPECT_EQ(10, io.SeekToEnd());
    EXPECT_EQ(7, io.SeekFromEnd(3));
    EXPECT_EQ(7, io.Tell());
    EXPECT_EQ(15, io.SeekFromEnd(-5)) << "beyond the end";
    EXPECT_EQ(15, io.Tell());
    EXPECT_EQ(6, io.SeekFromBegin(6));

    // A failure leaves the position.
    errno = 0;
    EXPECT_EQ(0, io.Seek(-1, 0));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(0, io.SeekFromBegin(-1));
    EXPECT_EQ(0, io.SeekFromEnd(11));
    EXPECT_EQ(0, io.SeekFromEnd(LLONG_MIN));
    EXPECT_EQ(0, io.SeekFromEnd(LLONG_MAX));
    EXPECT_EQ(6, io.Tell());
    EXPECT_EQ(0, io.SeekToBegin());
    EXPECT_EQ(0, io.Tell());
}

TEST_F(FileIoTest, AClosedOneAsksTheSystemOnlyForTheFourSeeks) {
    SystemCalls calls;
    FileIo io;
    errno = 0;
    char byte = '?';
    EXPECT_EQ(0U, io.Read(&byte, 1));
    EXPECT_EQ('?', byte);
    EXPECT_EQ(0U, io.Write(&byte, 1));
    for (const unsigned int origin : {0U, 1U, 2U, 3U, 0xFFFFFFFFU}) {
        EXPECT_EQ(-1, io.Seek(0, origin));
        EXPECT_EQ(-1, io.Seek(5, origin));
    }
    EXPECT_EQ(0, io.Tell());
    EXPECT_EQ(0, io.GetFileSize());
    EXPECT_FALSE(io.SetEndOfFile());
    EXPECT_FALSE(io.SetFileSize(0));
    EXPECT_FALSE(io.SetFileSize(10));
    EXPECT_FALSE(io.Flush());
    io.Close();
    EXPECT_FALSE(io.IsOpened());
    EXPECT_EQ("", io.GetPath());
    EXPECT_EQ(0, errno);
    EXPECT_EQ(Log{}, calls.Take());

    for (const auto& seek : std::vector<std::function<long long()>>{
             [&] { return io.SeekToBegin(); }, [&] { return io.SeekToEnd(); },
             [&] { return io.SeekFromBegin(3); },
             [&] { return io.SeekFromEnd(3); }}) {
        errno = 0;
        EXPECT_EQ(0, seek());
        EXPECT_EQ(EBADF, errno);
    }
    EXPECT_EQ((Log{"lseek -1 0 SEEK_SET", "lseek -1 0 SEEK_END",
                   "lseek -1 3 SEEK_SET", "lseek -1 -3 SEEK_END"}),
              calls.Take());
}

// Size

const struct SizeCase {
    int line;
    Reply duplicate;
    Reply begin;
    Reply end;
    long long size;
    int error;
    std::size_t calls;  // Before the close of the duplicate.
} kSizeCases[] = {
    {__LINE__, {42}, {0}, {100}, 100, 0, 3},
    {__LINE__, {42}, {0}, {0}, 0, 0, 3},
    {__LINE__, {42}, {0}, {LLONG_MAX}, LLONG_MAX, 0, 3},
    {__LINE__, {42}, {5}, {6}, 6, 0, 3},
    {__LINE__, Fails(EMFILE), {0}, {100}, 0, EMFILE, 1},
    {__LINE__, Fails(EINTR), {0}, {100}, 0, EINTR, 1},
    {__LINE__, {42}, Fails(ESPIPE), {100}, 0, ESPIPE, 2},
    {__LINE__, {42}, {0}, Fails(EOVERFLOW), 0, EOVERFLOW, 3},
    {__LINE__, {0}, {0}, {100}, 100, 0, 3},
    {__LINE__, {0}, Fails(EINTR), {100}, 0, EINTR, 2},
};

TEST_F(FileIoTest, GetFileSizeMeasuresWithADuplicateThatItCloses) {
    for (const SizeCase& row : kSizeCases) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        const std::string copy = std::to_string(row.duplicate.result);
        Log expected{"dup 41", "lseek " + copy + " 0 SEEK_SET",
                     "lseek " + copy + " 0 SEEK_END"};
        expected.resize(row.calls);
        if (row.duplicate.result >= 0) {
            expected.push_back("close " + copy);
        }
        for (const Reply closed : {Reply{0}, Fails(EIO)}) {
            SystemCalls calls;
            FileIo io;
            OpenInvented(calls, io);
            calls.Script("dup", {row.duplicate});
            calls.Script("lseek", {row.begin, row.end});
            calls.Script("close", {closed});
            errno = 0;
            EXPECT_EQ(row.size, io.GetFileSize());
            if (row.error != 0) {
                EXPECT_EQ(row.error, errno);
            }
            EXPECT_EQ(expected, calls.Take());
            EXPECT_TRUE(io.IsOpened());
            EXPECT_EQ(41, DescriptorOf(io));
            calls.Script("close", {});
        }
    }
}

// [fileio-5]
TEST_F(FileIoTest, GetFileSizeLeavesThePositionAtTheEnd) {
    const TempDir temp;
    const std::string path = temp.Write("a", std::string(100, 'x'));
    for (const unsigned int access : {kRead, kWrite, kBoth}) {
        FileIo io;
        ASSERT_TRUE(io.Open(path, access, 0, kExisting));
        const std::vector<int> before = OpenDescriptors();
        for (const long long from : {0, 10, 100, 1000}) {
            EXPECT_EQ(from, io.SeekFromBegin(from));
            EXPECT_EQ(100, io.GetFileSize());
            EXPECT_EQ(100, io.Tell());
        }
        EXPECT_EQ(before, OpenDescriptors());
        EXPECT_EQ(100U, ContentOf(path).size());
    }
}

TEST_F(FileIoTest, APipeHasNoPositionAndNoSize) {
    const TempDir temp;
    const std::string path = temp / "pipe";
    ASSERT_EQ(0, ::mkfifo(path.c_str(), 0600));
    FileIo io;
    ASSERT_TRUE(io.Open(path, kBoth, 0, kExisting));
    const std::vector<int> before = OpenDescriptors();
    errno = 0;
    EXPECT_EQ(0, io.GetFileSize());
    EXPECT_EQ(ESPIPE, errno);
    EXPECT_EQ(before, OpenDescriptors());
    EXPECT_EQ(0, io.Tell());
    EXPECT_EQ(0, io.Seek(0, 0));
    EXPECT_FALSE(io.SetEndOfFile());
    EXPECT_FALSE(io.SetFileSize(0));
    EXPECT_EQ(ESPIPE, errno);
    EXPECT_FALSE(io.Flush());
    char text[] = "abc";
    EXPECT_EQ(3U, io.Write(text, 3));
    EXPECT_EQ("abc", Text(path, io, 100)) << "no wait for the rest";
}

// [fileio-6]
TEST_F(FileIoTest, SettingTheSizeOnlyMovesToTheEnd) {
    const TempDir temp;
    const std::string content(100, 'x');
    const std::string path = temp.Write("a", content);
    FileIo io;
    ASSERT_TRUE(io.Open(path, kBoth, 0, kExisting));
    for (const long long size : {0LL, 50LL, 100LL, 1000LL, 1LL << 40}) {
        EXPECT_EQ(10, io.SeekFromBegin(10));
        EXPECT_TRUE(io.SetFileSize(size)) << size;
        EXPECT_EQ(100, io.Tell());
        EXPECT_EQ(content, ContentOf(path));
    }
    for (const long long from : {0, 50, 100, 1000}) {
        EXPECT_EQ(from, io.SeekFromBegin(from));
        EXPECT_TRUE(io.SetEndOfFile());
        EXPECT_EQ(100, io.Tell());
        EXPECT_EQ(content, ContentOf(path));
    }
    EXPECT_EQ(10, io.SeekFromBegin(10));
    errno = 0;
    EXPECT_FALSE(io.SetFileSize(-1));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(10, io.Tell());
    EXPECT_EQ(content, ContentOf(path));
}

// [fileio-6]
TEST_F(FileIoTest, SettingTheSizeIsSeeking) {
    const std::string begin = "lseek 41 70 SEEK_SET";
    const std::string end = "lseek 41 0 SEEK_END";
    const struct {
        int line;
        bool sized;  // SetFileSize(70), not SetEndOfFile().
        std::deque<Reply> replies;
        bool result;
        int error;
        Log calls;
    } cases[] = {
        {__LINE__, false, {{0}}, true, 0, {end}},
        {__LINE__, false, {{100}}, true, 0, {end}},
        {__LINE__, false, {Fails(EIO)}, false, EIO, {end}},
        {__LINE__, false, {Fails(EINTR)}, false, EINTR, {end}},
        {__LINE__, true, {{70}, {100}}, true, 0, {begin, end}},
        {__LINE__, true, {{0}, {0}}, true, 0, {begin, end}},
        {__LINE__, true, {Fails(EINVAL), {1}}, false, EINVAL, {begin}},
        {__LINE__, true, {{70}, Fails(EIO)}, false, EIO, {begin, end}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        SystemCalls calls;
        FileIo io;
        OpenInvented(calls, io);
        calls.Script("lseek", row.replies);
        errno = 0;
        EXPECT_EQ(row.result,
                  row.sized ? io.SetFileSize(70) : io.SetEndOfFile());
        EXPECT_EQ(row.error, errno);
        EXPECT_EQ(row.calls, calls.Take());
    }
}

// A file of the system against a text and a position.

struct Model {
    std::string content;
    long long at = 0;

    // The position after a move to `to`; 0, and no move, when it is negative.
    long long MoveTo(long long to) {
        if (to < 0) {
            return 0;
        }
        at = to;
        return to;
    }

    long long Size() const { return static_cast<long long>(content.size()); }

    std::string Read(unsigned int length) {
        if (at >= Size()) {
            return "";
        }
        const std::string got =
            content.substr(static_cast<std::size_t>(at), length);
        at += static_cast<long long>(got.size());
        return got;
    }

    void Write(const std::string& text) {
        const auto from = static_cast<std::size_t>(at);
        if (text.empty()) {
            return;
        }
        if (from + text.size() > content.size()) {
            content.resize(from + text.size());
        }
        content.replace(from, text.size(), text);
        at += static_cast<long long>(text.size());
    }
};

// One random operation on both; what differs, if anything.
std::optional<std::string> Step(std::mt19937& random, FileIo& io,
                                Model& model) {
    const auto below = [&](unsigned int limit) {
        return static_cast<unsigned int>(random() % limit);
    };
    const auto same = [](const char* what, long long expected,
                         long long got) -> std::optional<std::string> {
        if (expected == got) {
            return std::nullopt;
        }
        return what + (": " + std::to_string(expected)) + " expected, got " +
               std::to_string(got);
    };
    const long long offset = static_cast<long long>(below(500)) - 250;
    switch (below(10)) {
        case 0: {
            std::string text(below(40), static_cast<char>('a' + below(26)));
            const auto length = static_cast<unsigned int>(text.size());
            model.Write(text);
            return same("Write", length, io.Write(text.data(), length));
        }
        case 1: {
            const unsigned int length = below(60);
            const std::string expected = model.Read(length);
            std::string text(length, '?');
            text.resize(std::min(io.Read(text.data(), length), length));
            return text == expected
                       ? std::nullopt
                       : std::optional<std::string>("Read: " + text);
        }
        case 2:
            return same("Seek 0", model.MoveTo(offset), io.Seek(offset, 0));
        case 3:
            return same("Seek 1", model.MoveTo(model.at + offset),
                        io.Seek(offset, 1));
        case 4:
            return same("Seek 2", model.MoveTo(model.Size() + offset / 16),
                        io.Seek(offset / 16, 2));
        case 5:
            return same("SeekFromEnd", model.MoveTo(model.Size() - offset / 16),
                        io.SeekFromEnd(offset / 16));
        case 6:
            return same("GetFileSize", model.MoveTo(model.Size()),
                        io.GetFileSize());
        case 7: {
            const bool moved = offset >= 0;
            if (moved) {
                model.MoveTo(model.Size());
            }
            return same("SetFileSize", moved ? 1 : 0,
                        io.SetFileSize(offset) ? 1 : 0);
        }
        case 8:
            return same("SeekFromBegin", model.MoveTo(offset),
                        io.SeekFromBegin(offset));
        default:
            return same("Tell", model.at, io.Tell());
    }
}

TEST_F(FileIoTest, BehavesAsATextWithAPosition) {
    const TempDir temp;
    const std::string path = temp / "a";
    const std::mt19937::result_type seed = 20240611;
    std::mt19937 random(seed);
    Model model;
    FileIo io;
    ASSERT_TRUE(io.Open(path, kBoth, 0, 1));
    for (int step = 0; step < 100000; ++step) {
        if (step % 1000 == 999) {
            ASSERT_EQ(model.content, ContentOf(path)) << "step " << step;
            // An old file as it is, or emptied.
            const unsigned int creation = step % 3000 == 2999 ? 2 : kExisting;
            ASSERT_TRUE(io.Open(path, kBoth, 0, creation));
            model.at = 0;
            if (creation == 2) {
                model.content.clear();
            }
        }
        if (const auto differs = Step(random, io, model)) {
            FAIL() << "step " << step << ": " << *differs;
        }
    }
}

}  // namespace
