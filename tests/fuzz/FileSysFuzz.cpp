// CreateDirLevel and GetFileExt on hostile paths, against a model of a file
// system that has directories only. Everything is made in a folder of its own:
// relative paths begin in one kLevels below it, absolute paths with the name of
// that one, and a path with more ".." than that is not tried.
//
// Input: choices, the level, then paths, each with its length before it, along
// which directories are made one after the other; the last has them all.

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <set>
#include <vector>

#include "Bases/FileSys.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/TempDir.h"

namespace fs = std::filesystem;
using NovuFuzz::Require;
using NovuFuzz::UpToZero;
using Names = std::vector<std::string>;

namespace {

const std::size_t kLevels = 8;

// Directories below the folder, as "a/b/c"; the folder itself is "".
class Model {
public:
    explicit Model(const std::string& folder) : base(folder) {
        for (std::size_t level = 0; level != kLevels; ++level) {
            start.emplace_back("d");
            made.insert(Join(start));
        }
    }

    bool Exists(const std::string& path) const {
        const std::optional<Names> names = NamesOf(path);
        return !UpToZero(path).empty() && names && Exists(*names);
    }

    bool Make(const std::string& path) {
        // What ends in "." cannot be made.
        std::string end = UpToZero(path);
        end.erase(end.find_last_not_of('/') + 1);
        const bool dot = end == "." || end.ends_with("/.");
        std::optional<Names> names = NamesOf(path);
        if (dot || !names || names->empty() || !CanBe(*names) ||
            Exists(*names)) {
            return false;
        }
        const std::string name = Join(*names);
        names->pop_back();
        return Exists(*names) && made.insert(name).second;
    }

    bool CreateDirLevel(const std::string& path, unsigned long level,
                        bool createLast) {
        if (path.empty()) {
            return false;
        }
        std::size_t from = level;
        if (level == 0 || level >= path.size()) {
            from = 0;
            if (path[0] == '/') {
                const std::size_t first = path.find('/', 2);
                const std::size_t second = first == std::string::npos
                                               ? first
                                               : path.find('/', first + 1);
                if (second == std::string::npos) {
                    return true;
                }
                from = second + 1;
            }
        }
        for (std::size_t at = from; at < path.size(); ++at) {
            const std::string part = path.substr(0, at + 1);
            if (path[at] == '/' && part.size() != 2 && !Exists(part) &&
                !Make(part)) {
                return false;
            }
        }
        if (createLast && !Exists(path) && !Make(path)) {
            return false;
        }
        return Exists(path);
    }

    const std::set<std::string>& Made() const { return made; }

private:
    // None where a "." or ".." is of a directory that is not there. The system
    // sees a path up to its first zero.
    std::optional<Names> NamesOf(const std::string& whole) const {
        std::string path = UpToZero(whole);
        Names names = start;
        if (path.starts_with('/')) {
            // A leading part of the folder is there, as the folder is.
            path = path.size() < base.size() ? "" : path.substr(base.size());
            names.clear();
        }
        for (std::size_t at = 0; at < path.size();) {
            const std::size_t end = std::min(path.find('/', at), path.size());
            const std::string name = path.substr(at, end - at);
            at = end + 1;
            if (name == "." || name == "..") {
                if (!Exists(names)) {
                    return std::nullopt;
                }
                names.resize(names.size() - (name == ".." ? 1 : 0));
            } else if (!name.empty()) {
                names.push_back(name);
            }
        }
        return names;
    }

    bool Exists(const Names& names) const {
        return CanBe(names) && made.contains(Join(names));
    }

    static bool CanBe(const Names& names) {
        return std::all_of(
            names.begin(), names.end(),
            [](const std::string& name) { return name.size() <= 255; });
    }

    static std::string Join(const Names& names) {
        std::string path;
        for (const std::string& name : names) {
            path += (path.empty() ? "" : "/") + name;
        }
        return path;
    }

    std::string base;
    Names start;
    std::set<std::string> made = {""};
};

bool LeadsOut(const std::string& path) {
    std::size_t count = 0;
    for (std::size_t at = 0; (at = path.find("..", at)) != std::string::npos;
         ++at) {
        ++count;
    }
    return path.starts_with('/') || count > kLevels;
}

// Relative paths begin in the folder while it lives.
class Inside {
public:
    explicit Inside(const std::string& folder) : before(fs::current_path()) {
        fs::current_path(folder);
    }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;
    ~Inside() { fs::current_path(before); }

private:
    fs::path before;
};

void CheckFileExt(const std::string& path) {
    const std::string text = UpToZero(path);
    const std::size_t dot = text.rfind('.');
    const char* const expected =
        dot == std::string::npos ? nullptr : path.c_str() + dot;
    Require(Novu::FileSys::GetFileExt(path) == expected, "GetFileExt");
    Require(Novu::FileSys::GetFileExt(path.c_str()) == expected,
            "GetFileExt of characters");
    std::string ext = "junk";
    Require(Novu::FileSys::GetFileExt(path, ext) == (expected != nullptr),
            "GetFileExt's answer");
    Require(ext == (expected != nullptr ? text.substr(dot) : "junk"),
            "GetFileExt's output");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const NovuTest::TempDir folder;
    std::string start = folder.Path();
    for (std::size_t level = 0; level != kLevels; ++level) {
        start += "d/";
    }
    fs::create_directories(start);
    const Inside inside(start);

    NovuFuzz::Input input(data, size);
    Model model(folder.Path());
    while (!input.IsEmpty()) {
        const unsigned int choices = input.Byte();
        unsigned long level = input.Byte();
        const std::string name = input.Text();
        CheckFileExt(name);
        if (LeadsOut(name)) {
            continue;
        }
        const std::string path = (choices & 1) != 0 ? start + name : name;
        level += (choices & 2) != 0 && level != 0 ? start.size() : 0;
        const bool createLast = (choices & 4) != 0;
        Require(
            Novu::FileSys::CreateDirLevel(path, level, createLast ? 1 : 0) ==
                model.CreateDirLevel(path, level, createLast),
            "CreateDirLevel's answer");
    }

    std::set<std::string> made = {""};
    for (const auto& entry : fs::recursive_directory_iterator(folder.Path())) {
        made.insert(entry.path().string().substr(folder.Path().size()));
    }
    Require(made == model.Made(), "the directories");
    for (const auto& entry : fs::directory_iterator(folder.Path())) {
        fs::remove_all(entry.path());
    }
    return 0;
}
