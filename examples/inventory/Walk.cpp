// The walk, from Walk.h.

#include "Walk.h"

#include <Bases/FileFind.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <system_error>
#include <utility>

#include "Failure.h"
#include "Interrupt.h"
#include "Names.h"

namespace Inventory {

namespace {

// Types as FileFind answers them.
const int kFile = 2;
const int kFolder = 3;

#ifdef __APPLE__  // Its names for what POSIX calls st_mtim and st_ctim.
const timespec& ModifiedTime(const struct stat& info) {
    return info.st_mtimespec;
}
const timespec& ChangedTime(const struct stat& info) {
    return info.st_ctimespec;
}
#else
const timespec& ModifiedTime(const struct stat& info) { return info.st_mtim; }
const timespec& ChangedTime(const struct stat& info) { return info.st_ctim; }
#endif

// The time value that FileFind makes of a system time. Unsigned, because the
// product of a far time wraps.
long long Milliseconds(const timespec& time) {
    return static_cast<long long>(
        static_cast<unsigned long long>(time.tv_sec) * 1000 +
        static_cast<unsigned long long>(time.tv_nsec / 1000000));
}

// Wraps as well; times that are equal stay so.
long long Nanoseconds(const timespec& time) {
    return static_cast<long long>(
        static_cast<unsigned long long>(time.tv_sec) * 1000000000 +
        static_cast<unsigned long long>(time.tv_nsec));
}

long long Now() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return Nanoseconds(now);
}

// Rounds down, also before 1970.
long long WholeSeconds(long long milliseconds) {
    const long long part = milliseconds % 1000;
    return milliseconds - (part < 0 ? part + 1000 : part);
}

// FileFind's current entry.
void TakeStatus(Novu::FileFind& find, Entry& entry) {
    const int type = find.GetFileType();
    entry.type = type == kFile     ? Type::File
                 : type == kFolder ? Type::Folder
                                   : Type::Other;
    entry.size = find.GetFileSize();
    entry.modified = find.GetFileLastWriteTime();
    // What FileFind calls the last access is the last change of the status.
    entry.changed = find.GetFileLastAccessTime();
    // The milliseconds are those of the last access, which reading a folder
    // changes: with them, two inventories of the same folder would differ.
    entry.created = WholeSeconds(find.GetFileCreationTime());
}

// The entry `name` of `folder`. `find` stands at it, and is null when it has no
// status of it.
Entry Describe(const std::string& folder, const std::string& name,
               Novu::FileFind* find) {
    StopIfInterrupted();  // A folder can have millions of entries.
    Entry entry;
    entry.path = name;
    const std::string path = folder + name;

    entry.listedExactly = Now();
    // FileFind follows links, so whether this is one must be asked here.
    struct stat own;
    if (::lstat(path.c_str(), &own) != 0) {
        entry.problem = std::generic_category().message(errno);
        return entry;
    }
    entry.id = IdOf(own);
    entry.modifiedExactly = Nanoseconds(ModifiedTime(own));
    entry.changedExactly = Nanoseconds(ChangedTime(own));
    if (S_ISLNK(own.st_mode)) {
        std::error_code error;
        entry.target = std::filesystem::read_symlink(path, error).native();
        if (error) {
            entry.problem = error.message();
        } else {
            TakeStatus(own, entry);
        }
    } else if (find != nullptr) {
        TakeStatus(*find, entry);
    } else {
        TakeStatus(own, entry);
    }
    return entry;
}

// The entries of `folder` without FileFind. False, with the reason, when the
// folder cannot be read to its end.
bool ListByName(const std::string& folder, std::vector<Entry>& entries,
                std::string& problem) {
    std::error_code error;
    std::filesystem::directory_iterator next(folder, error);
    while (!error && next != std::filesystem::directory_iterator()) {
        entries.push_back(
            Describe(folder, next->path().filename().native(), nullptr));
        next.increment(error);
    }
    problem = error ? error.message() : "";
    return !error;
}

// The entries of `folder`, which ends in "/", in no order, with their names as
// paths. False, with the reason, when the folder cannot be read to its end.
bool List(const std::string& folder, std::vector<Entry>& entries,
          std::string& problem) {
    Novu::FileFind find;
    bool known = find.FindFirst(folder, "");
    if (!known) {
        // The folder is closed to us, or empty, or begins with an entry that
        // has no status, such as a dangling link.
        return ListByName(folder, entries, problem);
    }

    // FindNext answers false for an entry without a status, too; only at the
    // end does the name stay what it was.
    std::string name;
    while (known || name != find.GetFileName()) {
        name = find.GetFileName();
        if (name != "." && name != "..") {
            entries.push_back(Describe(folder, name, known ? &find : nullptr));
        }
        errno = 0;
        known = find.FindNext();
    }
    // FileFind leaves errno as the system set it: 0 at a true end.
    const int error = errno;
    problem = error != 0 ? std::generic_category().message(error) : "";
    return error == 0;
}

}  // namespace

FileId IdOf(const struct stat& info) {
    return {static_cast<unsigned long long>(info.st_dev),
            static_cast<unsigned long long>(info.st_ino)};
}

// As from FileFind's current entry.
void TakeStatus(const struct stat& info, Entry& entry) {
    entry.type = S_ISREG(info.st_mode)   ? Type::File
                 : S_ISDIR(info.st_mode) ? Type::Folder
                 : S_ISLNK(info.st_mode) ? Type::Link
                                         : Type::Other;
    entry.size = static_cast<unsigned long long>(info.st_size);
    entry.modified = Milliseconds(ModifiedTime(info));
    entry.changed = Milliseconds(ChangedTime(info));
    entry.created = WholeSeconds(entry.changed);
}

Walk::Walk(const std::string& folder) : root(folder) {
    if (root.empty()) {
        throw Failure("the name of the folder is empty");
    }
    if (root.back() != '/') {
        root += '/';  // FileFind joins folder and name with nothing between.
    }
    std::string problem;
    if (!Open("", problem)) {
        throw Failure(Printable(folder) + ": " + problem);
    }
}

bool Walk::Next(Entry& entry) {
    StopIfInterrupted();
    if (pending.empty()) {
        return false;
    }
    entry = std::move(pending.back());
    pending.pop_back();
    if (entry.type == Type::Folder) {
        entry.contentsUnreadable = !Open(entry.path + '/', entry.problem);
    }
    return true;
}

// Reads the folder `path` below the root ("" or ending in "/") and makes its
// entries the next ones. False, with the reason and no entries, when it cannot
// be read.
bool Walk::Open(const std::string& path, std::string& problem) {
    std::vector<Entry> entries;
    if (!List(root + path, entries, problem)) {
        return false;
    }
    std::sort(entries.begin(), entries.end(),
              [](const Entry& a, const Entry& b) { return b.path < a.path; });
    // A folder that changes while it is read may give a name twice.
    entries.erase(std::unique(entries.begin(), entries.end(),
                              [](const Entry& a, const Entry& b) {
                                  return a.path == b.path;
                              }),
                  entries.end());
    for (Entry& entry : entries) {
        entry.path.insert(0, path);
        pending.push_back(std::move(entry));
    }
    return true;
}

}  // namespace Inventory
