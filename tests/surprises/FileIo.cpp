// The surprises of Bases/FileIo.h.

#include "Bases/FileIo.h"

#include <filesystem>
#include <string>

#include "tests/support/TempDir.h"
#include "tests/support/Umask.h"
#include "tests/surprises/Seen.h"

namespace {

namespace fs = std::filesystem;

using Novu::FileIo;
using NovuTest::SurprisesTest;
using NovuTest::TempDir;
using NovuTest::Umask;

const unsigned int kRead = 0x80000000;
const unsigned int kWrite = 0x40000000;

// Has a file of 100 bytes.
class FileIoSurprisesTest : public SurprisesTest {
protected:
    FileIo io;
    const TempDir temp;
    const std::string name = temp.Write("name", std::string(100, 'x'));
    const std::string missing = temp / "missing";
};

// [fileio-1]
TEST_F(FileIoSurprisesTest, fileio_1) {
    SEEN(io.Open(name, 0x80000000, 3, 3) && fs::file_size(name) == 0);
}

// [fileio-2]
TEST_F(FileIoSurprisesTest, fileio_2) {
    FileIo other;
    SEEN(io.Open(name, 0xC0000000, 0, 4) && other.Open(name, 0xC0000000, 0, 4));
}

// [fileio-3]
TEST_F(FileIoSurprisesTest, fileio_3) {
    SEEN(io.Open(name, 0x80000000, 3, 4) && io.GetPath().empty());
}

// [fileio-4]
TEST_F(FileIoSurprisesTest, fileio_4) {
    ASSERT_TRUE(io.Open(name, kRead, 3, 4));
    SEEN(io.GetFileSize() == 100 && io.SeekFromEnd(10) == 90);
}

// [fileio-5]
TEST_F(FileIoSurprisesTest, fileio_5) {
    ASSERT_TRUE(io.Open(name, kRead, 3, 4));
    SEEN(io.GetFileSize() == 100 && io.Tell() == 100);
}

// [fileio-6]
TEST_F(FileIoSurprisesTest, fileio_6) {
    ASSERT_TRUE(io.Open(name, kRead | kWrite, 3, 4));
    SEEN(io.SetFileSize(10) && fs::file_size(name) == 100);
}

// [fileio-7]
TEST_F(FileIoSurprisesTest, fileio_7) {
    ASSERT_TRUE(io.Open(name, kRead, 3, 4));
    SEEN(io.Seek(-1, 0) == 0);
}

// [fileio-8]
TEST_F(FileIoSurprisesTest, fileio_8) {
    ASSERT_TRUE(io.Open(name, kRead, 3, 4));
    SEEN(!io.Open(missing, 0x80000000, 3, 4) && !io.IsOpened());
}

// [fileio-9]
TEST_F(FileIoSurprisesTest, fileio_9) {
    const Umask none(0);
    SEEN(io.Open(missing, 0x40000000, 3, 1) &&
         fs::status(missing).permissions() == fs::perms{0600});
}

// [fileio-10]
TEST_F(FileIoSurprisesTest, fileio_10) {
    char buffer[10];
    SEEN(io.Open(name, 0x40000000, 3, 4) && io.Read(buffer, 10) == 0);
}

}  // namespace
