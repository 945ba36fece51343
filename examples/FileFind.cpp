// FileFind: the entries of a folder, with types and sizes. For folders with
// links that lead nowhere, see every_entry.cpp.

#include <Bases/FileFind.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <string>

namespace {

bool List(const std::string& folder) {  // With a "/" at its end.
    std::map<std::string, unsigned long long> sizes;
    Novu::FileFind find;
    for (bool known = find.FindFirst(folder, ""); known;
         known = find.FindNext()) {
        const std::string name = find.GetFileName();
        if (name != "." && name != ".." && find.GetFileType() == 2) {
            sizes[name] = find.GetFileSize();
        }
    }
    find.FindClose();
    for (const auto& [name, size] : sizes) {
        std::cout << name << ' ' << size << '\n';
    }

    // One entry, without a search. The mode is in here, too, and the times.
    struct stat info;
    return Novu::GetFileInfo(folder, "b.txt", info) && info.st_size == 3;
}

}  // namespace

int main() {
    std::string scratch = std::filesystem::temp_directory_path() / "novuXXXXXX";
    if (mkdtemp(scratch.data()) == nullptr) {
        return 1;
    }
    std::ofstream(scratch + "/a.txt") << "a";
    std::ofstream(scratch + "/b.txt") << "bbb";
    std::filesystem::create_directory(scratch + "/folder");
    const bool listed = List(scratch + "/");
    std::filesystem::remove_all(scratch);
    return listed ? 0 : 1;
}

// Prints:
//   a.txt 1
//   b.txt 3
