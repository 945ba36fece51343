// The surprises of Bases/FileFind.h.

#include "Bases/FileFind.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/NextSymbol.h"
#include "tests/support/TempDir.h"
#include "tests/surprises/Seen.h"

namespace {

// The names that directories deliver, instead of their own; null for those.
std::vector<std::string>* names = nullptr;

}  // namespace

extern "C" dirent* readdir(DIR* stream) {
    static auto* const next = NovuTest::NextSymbol<dirent*(DIR*)>("readdir");
    if (names == nullptr) {
        return next(stream);
    }
    static dirent entry;
    if (names->empty()) {
        return nullptr;
    }
    names->front().copy(entry.d_name, sizeof(entry.d_name) - 1);
    entry.d_name[names->front().size()] = '\0';
    names->erase(names->begin());
    return &entry;
}

namespace {

namespace fs = std::filesystem;

using Novu::FileFind;
using NovuTest::SurprisesTest;
using NovuTest::TempDir;

// Has a directory.
class FileFindSurprisesTest : public SurprisesTest {
protected:
    FileFindSurprisesTest() = default;
    FileFindSurprisesTest(const FileFindSurprisesTest&) = delete;
    FileFindSurprisesTest& operator=(const FileFindSurprisesTest&) = delete;
    ~FileFindSurprisesTest() override { names = nullptr; }

    const TempDir temp;
    const std::string dir = temp.Path();
    FileFind find;
};

// [filefind-1]
TEST_F(FileFindSurprisesTest, filefind_1) {
    temp.MakeDir("folder");
    temp.Write("folder/name", "");
    const std::string folder = temp / "folder";
    SEEN(!find.FindFirst(folder, "") && find.FindFirst(folder + "/", ""));
}

// [filefind-2]
TEST_F(FileFindSurprisesTest, filefind_2) {
    temp.Write("name", "");
    std::vector<std::string> delivered{"..", "name", "."};
    names = &delivered;
    SEEN(find.FindFirst(dir, ""); find.FindNext();
         find.GetFileName() == std::string("."));
}

// [filefind-3]
TEST_F(FileFindSurprisesTest, filefind_3) {
    temp.Write("a", "");
    fs::create_symlink("nowhere", temp / "dangling");
    temp.Write("b", "");
    std::vector<std::string> delivered{"a", "dangling", "b"};
    names = &delivered;
    SEEN(find.FindFirst(dir, ""); !find.FindNext() && find.FindNext());
}

// [filefind-4]
TEST_F(FileFindSurprisesTest, filefind_4) {
    SEEN(fs::create_symlink(".", dir + "link");
         find.FindFirst(dir, "") && find.GetFileType() == 3);
}

// [filefind-5]
TEST_F(FileFindSurprisesTest, filefind_5) {
    temp.Write("name", "");
    SEEN(FileFind made(dir, "");
         made.GetFileName() == nullptr && !made.FindFirst(dir, ""));
}

// [filefind-6]
TEST_F(FileFindSurprisesTest, filefind_6) {
    temp.Write("a.bin", "");
    SEEN(find.FindFirst(dir, "*.txt") &&
         find.GetFileName() == std::string("a.bin"));
}

// [filefind-7] Accessed and written to shortly after 1970.
TEST_F(FileFindSurprisesTest, filefind_7) {
    const std::string name = temp.Write("name", "");
    const timespec times[] = {{5, 300'000'000}, {7, 0}};
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, name.c_str(), times, 0));
    ASSERT_TRUE(find.FindFirst(dir, ""));
    SEEN(find.GetFileLastAccessTime() > 5300 &&
         find.GetFileCreationTime() % 1000 == 300);
}

// [filefind-8]
TEST_F(FileFindSurprisesTest, filefind_8) {
    temp.Write("name", "");
    ASSERT_TRUE(find.FindFirst(dir, ""));
    SEEN(find.GetMaxFileNameSize() == 1024);
}

}  // namespace
