// inventory copy: the files of an inventory, copied and compared.

#include <Bases/FileSys.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <system_error>

#include "DocumentReader.h"
#include "Failure.h"
#include "Interrupt.h"
#include "Names.h"
#include "Output.h"
#include "Progress.h"
#include "RegularFile.h"
#include "Verbs.h"
#include "Walk.h"

namespace Inventory {

namespace {

namespace FileSys = Novu::FileSys;
using FileType = std::filesystem::file_type;

// What stands at a path, a link as such; `none` where the system will not say.
FileType TypeAt(const std::string& path) {
    std::error_code error;
    return std::filesystem::symlink_status(path, error).type();
}

// Byte by byte. The size counts, too: a copy ends where its making could not
// read on. False when the program is interrupted: what was not compared goes.
bool AreSame(Novu::FileIo& a, Novu::FileIo& b) {
    long long left = a.GetFileSize();
    if (b.GetFileSize() != left || a.SeekToBegin() != 0 ||
        b.SeekToBegin() != 0) {
        return false;
    }
    std::array<char, 65536> blockOfA;
    std::array<char, 65536> blockOfB;
    while (left > 0) {
        const auto count = static_cast<std::size_t>(
            std::min(left, static_cast<long long>(blockOfA.size())));
        if (IsInterrupted() || ReadBlock(a, blockOfA.data(), count) != count ||
            ReadBlock(b, blockOfB.data(), count) != count ||
            std::memcmp(blockOfA.data(), blockOfB.data(), count) != 0) {
            return false;
        }
        left -= static_cast<long long>(count);
    }
    return true;
}

void MakeTarget(const std::string& target) {
    if (target.empty()) {
        throw Failure("the name of the target is empty");
    }
    // Level 1, since 0 takes the first folders of an absolute path for made;
    // and CreateDirLevel never makes an "a/" in front.
    const std::string path = target.front() == '/' ? target : "./" + target;
    if (!FileSys::CreateDirLevel(path, /*level=*/1, /*createLast=*/1) ||
        !FileSys::IsDirectory(target)) {
        throw Failure(Printable(target) + ": no folder can be made there");
    }
}

// Makes the folders that `path` needs below `root`. The answer is what is
// wrong, or empty.
std::string MakeFolders(const std::string& root, const std::string& path) {
    for (std::size_t slash = path.find('/'); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        const std::string folder = root + path.substr(0, slash);
        const FileType type = TypeAt(folder);
        if (type == FileType::not_found) {
            if (!FileSys::CreateDir(folder)) {
                return std::generic_category().message(errno);
            }
        } else if (type != FileType::directory) {
            // A link as well: it may lead out of the target.
            return "no folder: " + Printable(path.substr(0, slash));
        }
    }
    return "";
}

// Copies a file to where there is none. The answer is what is wrong, or empty.
std::string CopyAndCompare(const std::string& from, const std::string& to) {
    try {
        RegularFile original(from);
        errno = EEXIST;  // What CopyFile does not set when it finds one there.
        if (!FileSys::CopyFile(original.Name(), to)) {
            return std::generic_category().message(errno);
        }
        Novu::FileIo copy;
        if (copy.Open(to, /*access=*/0x80000000, /*share=*/0, /*creation=*/4) &&
            AreSame(original.Io(), copy)) {
            return "";
        }
        copy.Close();
        return FileSys::DeleteFile(to)
                   ? "the copy differs"
                   : "the copy differs, and cannot be removed";
    } catch (const Failure& failure) {
        return std::string("unreadable: ") + failure.what();
    }
}

// Copies, and keeps the lines of the result and their counts.
class Copying {
public:
    Copying(const std::string& folder, const std::string& target)
        : from(folder + '/'), to(target + '/') {}

    void Missing(const Entry& listed) {
        if (IsWanted(listed)) {
            Add(kMissing, listed);
        }
    }
    void Unreadable(const Entry& listed, const std::string& problem) {
        if (IsWanted(listed)) {
            Add(kFailed, listed, "unreadable: " + problem);
        }
    }
    void Both(const Entry& listed, const Entry& now) {
        if (now.type == Type::Unreadable) {
            Unreadable(listed, now.problem);
        } else if (IsWanted(listed)) {
            const std::string changes = Changes(listed, now);
            if (now.type != Type::File) {
                Add(kSpecial, listed, changes);
            } else {
                CopyFile(listed, changes);
            }
        }
    }

    bool IsWhole() const { return lines.empty(); }

    std::string Text() const {
        std::string counts = std::to_string(copied) + " copied";
        for (std::size_t i = 0; i < std::size(kWords); ++i) {
            counts += ", " + std::to_string(countOf[i]) + " " + kWords[i];
        }
        return lines + counts + "\n";
    }

private:
    enum Outcome { kChanged, kMissing, kSpecial, kExisting, kFailed };
    static constexpr const char* kWords[] = {"changed", "missing", "special",
                                             "existing", "failed"};

    // Whether it is to be copied. What is neither file nor folder is told.
    bool IsWanted(const Entry& listed) {
        if (listed.type != Type::File && listed.type != Type::Folder) {
            Add(kSpecial, listed, NameOf(listed.type));
        }
        return listed.type == Type::File;
    }

    void CopyFile(const Entry& listed, const std::string& changes) {
        std::string problem = MakeFolders(to, listed.path);
        if (problem.empty()) {
            // Not CopyFile's own test, which misses a link to nowhere: the copy
            // would be made where that leads.
            const FileType type = TypeAt(to + listed.path);
            if (type != FileType::not_found && type != FileType::none) {
                Add(kExisting, listed);
                return;
            }
            problem = CopyAndCompare(from + listed.path, to + listed.path);
        }
        if (!problem.empty()) {
            Add(kFailed, listed, problem);
            return;
        }
        ++copied;
        if (!changes.empty()) {
            Add(kChanged, listed, changes);
        }
    }

    void Add(Outcome outcome, const Entry& listed,
             const std::string& why = std::string()) {
        ++countOf[outcome];
        std::string word = kWords[outcome];
        word.resize(9, ' ');
        lines += word + Printable(listed.path) +
                 (why.empty() ? why : " (" + why + ")") + "\n";
    }

    const std::string from;  // Both end in "/".
    const std::string to;
    std::string lines;
    unsigned long long copied = 0;
    std::array<unsigned long long, std::size(kWords)> countOf{};
};

unsigned long long BytesToCopy(const Entry& listed) {
    return listed.type == Type::File ? listed.size : 0;
}

}  // namespace

ExitStatus Copy(const Options& options) {
    const std::vector<Entry> document =
        ReadDocument(options.document, ReadKey(options.seal));
    CatchInterrupts();
    // A walk, and not the document's paths alone: no link is followed, and no
    // file comes from elsewhere.
    Walk walk(options.folder);
    MakeTarget(options.target);
    Copying copying(options.folder, options.target);
    {
        Progress progress(/*readsFiles=*/true);
        unsigned long long bytes = 0;
        for (const Entry& entry : document) {
            bytes = AddSizes(bytes, BytesToCopy(entry));
        }
        progress.Expect(bytes);
        const auto count = [&progress](const Entry& entry) {
            progress.Count(BytesToCopy(entry));
        };
        auto listed = document.begin();  // The next one; both are in order.
        Entry now;
        while (walk.Next(now)) {
            while (listed != document.end() &&
                   IsBefore(listed->path, now.path)) {
                count(*listed);
                copying.Missing(*listed++);
            }
            if (listed != document.end() && listed->path == now.path) {
                copying.Both(*listed, now);
                count(*listed++);
            }
            while (!now.problem.empty() && listed != document.end() &&
                   IsBelow(listed->path, now.path)) {
                count(*listed);
                copying.Unreadable(*listed++, now.problem);
            }
        }
        while (listed != document.end()) {
            copying.Missing(*listed++);
        }
    }
    ReleaseInterrupts();
    Print(copying.Text());
    return copying.IsWhole() ? kDone : kDifferent;
}

}  // namespace Inventory
