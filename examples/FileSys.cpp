// FileSys: folders, copies and moves, and the room on a disk.

#include <Bases/FileSys.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

namespace {

bool Exchange(const std::string& folder) {
    const std::string from = folder + "/settings.txt";
    const std::string to = folder + "/backup/settings.txt";

    namespace FileSys = Novu::FileSys;
    // Level 1: every missing folder of an absolute path.
    if (!FileSys::CreateDirLevel(folder + "/backup/", 1, 1) ||
        !FileSys::CopyFile(from, to) ||  // Refused where there is one.
        std::filesystem::file_size(from) != std::filesystem::file_size(to)) {
        return false;  // A full disk is seen by the sizes alone.
    }
    if (!FileSys::DeleteFile(from) || FileSys::IsExistFile(from) ||
        !FileSys::MoveFile(to, from)) {  // It would replace what is there.
        return false;
    }
    std::cout << FileSys::GetFileExt("settings.txt") << '\n';

    unsigned long long total = 0;
    unsigned long long used = 0;  // Less than it should be on large disks.
    unsigned long long free = 0;
    if (!FileSys::GetDiskSize(folder, total, used, free) || free > total) {
        return false;
    }
    return FileSys::DeleteDir(folder + "/backup");
}

}  // namespace

int main() {
    std::string scratch = std::filesystem::temp_directory_path() / "novuXXXXXX";
    if (mkdtemp(scratch.data()) == nullptr) {
        return 1;
    }
    std::ofstream(scratch + "/settings.txt") << "colour=blue\n";
    const bool done = Exchange(scratch);
    std::filesystem::remove_all(scratch);
    return done ? 0 : 1;
}

// Prints:
//   .txt
