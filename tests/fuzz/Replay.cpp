// What a fuzz target has in the place of libFuzzer: gives it each file that is
// named, and each in the folders that are named, once. Options of libFuzzer are
// passed over. Ends with 0 unless there was no file, or the target ended it.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/fuzz/Fuzz.h"

namespace {

void Replay(const std::filesystem::path& path) {
    std::cout << path.string() << std::endl;  // Seen also after an abort.
    std::ifstream file(path, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(file), {}};
    // A block of its own, whose end the address sanitizer guards.
    const std::vector<std::uint8_t> bytes(content.begin(), content.end());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
    unsigned long replayed = 0;
    const std::vector<std::string> names(argv + 1, argv + argc);
    for (const std::string& name : names) {
        if (name.starts_with('-')) {
            continue;
        }
        if (!std::filesystem::is_directory(name)) {
            Replay(name);
            ++replayed;
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(name)) {
            Replay(entry.path());
            ++replayed;
        }
    }
    return replayed != 0 ? 0 : 1;
}
