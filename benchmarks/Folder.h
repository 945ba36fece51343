// A folder of a benchmark's own.

#ifndef NOVU_BENCHMARKS_FOLDER_H_
#define NOVU_BENCHMARKS_FOLDER_H_

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>

namespace bench {

/// Made with a name that no other has, and removed with all that is in it.
class Folder {
public:
    explicit Folder(const std::filesystem::path& parent =
                        std::filesystem::temp_directory_path()) {
        std::string name = (parent / "novu-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("cannot make a folder in " +
                                     parent.string());
        }
        path = name + "/";
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() { std::filesystem::remove_all(path); }

    std::string path;  // With "/" at its end.
};

}  // namespace bench

#endif  // NOVU_BENCHMARKS_FOLDER_H_
