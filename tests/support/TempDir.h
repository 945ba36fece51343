// TempDir: a fresh directory that goes, with all that is in it, in the end; and
// what a file holds.

#ifndef NOVU_BASES_TESTS_SUPPORT_TEMPDIR_H_
#define NOVU_BASES_TESTS_SUPPORT_TEMPDIR_H_

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>

namespace NovuTest {

class TempDir {
public:
    TempDir() {
        std::string name =
            (std::filesystem::temp_directory_path() / "novu-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("mkdtemp failed for " + name);
        }
        path = name + "/";
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }

    /// The directory, with "/" at its end.
    const std::string& Path() const { return path; }

    /// The path of `name` in the directory.
    std::string operator/(const std::string& name) const { return path + name; }

    /// Writes `content` to the file `name` and answers its path.
    std::string Write(const std::string& name,
                      const std::string& content) const {
        std::ofstream(path + name, std::ios::binary) << content;
        return path + name;
    }

    /// Makes the directory `name` and answers its path.
    std::string MakeDir(const std::string& name) const {
        std::filesystem::create_directories(path + name);
        return path + name;
    }

private:
    std::string path;
};

/// All bytes of the file; none where it cannot be read.
inline std::string ContentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_TEMPDIR_H_
