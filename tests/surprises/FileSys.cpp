// The surprises of Bases/FileSys.h.

#include "Bases/FileSys.h"

#include <sys/statvfs.h>

#include <filesystem>
#include <string>

#include "tests/support/NextSymbol.h"
#include "tests/support/TempDir.h"
#include "tests/surprises/Seen.h"

namespace {

// What the system answers of every volume, where it is not null.
const struct statvfs* scripted = nullptr;

}  // namespace

extern "C" int statvfs(const char* path, struct statvfs* out) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<int(const char*, struct statvfs*)>("statvfs");
    if (scripted == nullptr) {
        return next(path, out);
    }
    *out = *scripted;
    return 0;
}

namespace {

namespace fs = std::filesystem;
namespace FileSys = Novu::FileSys;

using NovuTest::ContentOf;
using NovuTest::FullDisk;
using NovuTest::SurprisesTest;
using NovuTest::TempDir;

// Has files that are there, and names of some that are not; and is in their
// directory. The volume is what the system answers of every path.
class FileSysSurprisesTest : public SurprisesTest {
protected:
    FileSysSurprisesTest() {
        fs::current_path(temp.Path());
        scripted = &volume;
    }
    FileSysSurprisesTest(const FileSysSurprisesTest&) = delete;
    FileSysSurprisesTest& operator=(const FileSysSurprisesTest&) = delete;
    ~FileSysSurprisesTest() override {
        fs::current_path(earlier);
        scripted = nullptr;
    }

    struct statvfs volume {};
    const TempDir temp;
    const std::string dir = temp.Path();
    const std::string name = temp.Write("name", "content");
    const std::string from = temp.Write("from", "new");
    const std::string to = temp / "to";
    unsigned long long size = 4711;
    unsigned long long total = 0;
    unsigned long long used = 0;
    unsigned long long free = 0;

private:
    const fs::path earlier = fs::current_path();
};

// [filesys-1]
TEST_F(FileSysSurprisesTest, filesys_1) {
    // Not in `dir`: a path with one "/" from position 2 on.
    const std::string missing =
        "/tmp/" + fs::path(dir).filename().string() + 'x';
    SEEN(FileSys::CreateDirLevel(missing, 0, 1) &&
         !FileSys::IsDirectory(missing));
}

// [filesys-2]
TEST_F(FileSysSurprisesTest, filesys_2) {
    SEEN(!FileSys::CreateDirLevel("a/b", 0, 1) &&
         FileSys::CreateDirLevel("aa/b", 0, 1));
}

// [filesys-3]
TEST_F(FileSysSurprisesTest, filesys_3) {
    const FullDisk full;
    SEEN(FileSys::CopyFile(from, to) && fs::file_size(to) == 0);
}

// [filesys-4]
TEST_F(FileSysSurprisesTest, filesys_4) {
    SEEN(FileSys::GetFileSize(name, size) && size == 0 &&
         fs::file_size(name) == 0);
}

// [filesys-5]
TEST_F(FileSysSurprisesTest, filesys_5) {
    volume.f_bsize = 4096;
    volume.f_blocks = 1UL << 32;
    SEEN(FileSys::GetDiskSize(dir, total, used, free);
         total == 1UL << 44 && free == 0 && used == 0);
}

// [filesys-6]
TEST_F(FileSysSurprisesTest, filesys_6) {
    SEEN(FileSys::GetFileExt("/a.b/c") == std::string(".b/c"));
}

// [filesys-7]
TEST_F(FileSysSurprisesTest, filesys_7) {
    std::string root = "x";
    SEEN(!FileSys::GetRootPath("/tmp", root) && root == "x");
}

// [filesys-8]
TEST_F(FileSysSurprisesTest, filesys_8) {
    SEEN(fs::create_symlink("missing", to);
         FileSys::CopyFile(from, to) && fs::exists("missing"));
}

// [filesys-9]
TEST_F(FileSysSurprisesTest, filesys_9) {
    SEEN(FileSys::MoveFile(from, name) && ContentOf(name) == "new");
}

// [filesys-10]
TEST_F(FileSysSurprisesTest, filesys_10) {
    SEEN(fs::create_directory(to); FileSys::DeleteFile(to) && !fs::exists(to));
}

// [filesys-11]
TEST_F(FileSysSurprisesTest, filesys_11) {
    volume.f_bsize = 65536;
    volume.f_frsize = 4096;
    volume.f_blocks = 1000;
    SEEN(FileSys::GetDiskTotalSize(dir, total) &&
         total == volume.f_blocks * volume.f_bsize);
}

// [filesys-12]
TEST_F(FileSysSurprisesTest, filesys_12) {
    SEEN(!FileSys::CreateDirLevel("aa/b", 0, 0) && fs::exists("aa"));
}

// [filesys-13]
TEST_F(FileSysSurprisesTest, filesys_13) {
    SEEN(const std::string path = "a.txt";
         FileSys::GetFileExt(path) == path.data() + 1);
}

}  // namespace
