// FileIo: a new file is written, and a file is read whole.

#include <Bases/FileIo.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

namespace {

const unsigned int kRead = 0x80000000;
const unsigned int kWrite = 0x40000000;
const unsigned int kNew = 1;       // 3 would empty a file that is there.
const unsigned int kExisting = 4;  // Nor does this one harm it.

bool Save(const std::string& path, const std::string& text) {
    Novu::FileIo file;
    const auto size = static_cast<unsigned int>(text.size());
    return size == text.size() &&  // It could be 4 GiB, or more.
           file.Open(path, kWrite, 0, kNew) &&
           // The bytes are only read.
           file.Write(const_cast<char*>(text.data()), size) == size &&
           file.Flush();
}

bool ReadWhole(const std::string& path, std::string& text) {
    text.clear();
    Novu::FileIo file;
    if (!file.Open(path, kRead, 0, kExisting)) {
        return false;
    }
    char piece[4096];
    while (const unsigned int count = file.Read(piece, sizeof(piece))) {
        text.append(piece, count);
    }
    return static_cast<long long>(text.size()) == file.GetFileSize();
}

}  // namespace

int main() {
    std::string scratch = std::filesystem::temp_directory_path() / "novuXXXXXX";
    if (mkdtemp(scratch.data()) == nullptr) {
        return 1;
    }
    const std::string path = scratch + "/note.txt";
    std::string text;
    const bool done = Save(path, "Kept.\n") && !Save(path, "Lost?\n") &&
                      ReadWhole(path, text);
    std::filesystem::remove_all(scratch);
    std::cout << text;
    return done ? 0 : 1;
}

// Prints:
//   Kept.
