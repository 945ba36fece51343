// Directory enumeration, from Bases/FileFind.h.

#include "Bases/FileFind.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstring>

#include "Bases/Impl/CancellationDisabled.h"
#include "Bases/Impl/Owned.h"
#include "Bases/Impl/StatTimes.h"

namespace Novu {

namespace {

// No cancellation point, since destructors come here.
void CloseStream(DIR* stream) {
    const CancellationDisabled disabled;
    ::closedir(stream);
}

using Stream = Owned<DIR, CloseStream>;

dirent* ReadNext(DIR* stream) {
    // cppcheck-suppress readdirCalled ; nobody else has the stream
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody else has it.
    return ::readdir(stream);
}

bool IsSelfOrParent(const char* name) {
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

// The record to answer from; null unless a stream is open, too. A template,
// since Entry is private.
template <typename Entry>
const Entry* Active(const void* stream, const Entry* record) {
    return stream != nullptr ? record : nullptr;
}

// Multiplied as unsigned: the seconds of a far year times 1000 wrap.
long long Milliseconds(time_t seconds, long nanoseconds) {
    return static_cast<long long>(
        static_cast<unsigned long long>(seconds) * 1000 +
        static_cast<unsigned long long>(nanoseconds / 1000000));
}

long long Milliseconds(const timespec& time) {
    return Milliseconds(time.tv_sec, time.tv_nsec);
}

}  // namespace

struct [[gnu::visibility("hidden")]] FileFind::Entry {
    dirent* entry;     // The one that readdir gave last; the stream owns it.
    struct stat info;  // Of the last entry whose status could be read.
    std::string path;  // The directory, as given to FindFirst, and room.

    void TakePath(const std::string& directory);
    bool ReadInfo();
};

// With room for any name, so that FindNext needs no memory: the stream does not
// give an entry twice.
void FileFind::Entry::TakePath(const std::string& directory) {
    path.reserve(directory.size() + sizeof entry->d_name);
    path = directory;
}

bool FileFind::Entry::ReadInfo() {
    const std::size_t directory = path.size();
    path += entry->d_name;
    const bool known = ::stat(path.c_str(), &info) == 0;
    path.resize(directory);
    return known;
}

// Lifetime

FileFind::FileFind() : dir(nullptr), current(nullptr) {}

// The delegation makes the object complete before FindFirst can throw, so that
// the destructor then releases what it had opened.
FileFind::FileFind(const std::string& directory, const std::string& pattern)
    : FileFind() {
    FindFirst(directory, pattern);
    delete current;
    current = nullptr;
}

FileFind::~FileFind() {
    FindClose();
    delete current;
}

// Movement

bool FileFind::FindFirst(const std::string& directory,
                         const std::string& /*pattern*/) {
    if (dir != nullptr) {
        return false;
    }
    if (current == nullptr) {
        current = new Entry();
    }
    Stream stream(::opendir(directory.c_str()));
    if (stream == nullptr) {
        return false;
    }

    dirent* entry = ReadNext(stream.get());
    while (entry != nullptr && IsSelfOrParent(entry->d_name)) {
        entry = ReadNext(stream.get());
    }
    current->entry = entry;
    current->TakePath(directory);
    if (entry == nullptr ||
        !GetFileInfo(directory, entry->d_name, current->info)) {
        return false;
    }
    dir = stream.release();
    return true;
}

bool FileFind::FindNext() {
    if (dir == nullptr || current == nullptr) {
        return false;
    }
    dirent* const entry = ReadNext(static_cast<DIR*>(dir));
    if (entry == nullptr) {
        return false;
    }
    current->entry = entry;
    return current->ReadInfo();
}

void FileFind::FindClose() {
    if (dir != nullptr) {
        CloseStream(static_cast<DIR*>(dir));
        dir = nullptr;
    }
}

// The current entry

const char* FileFind::GetFileName() {
    const Entry* const now = Active(dir, current);
    return now != nullptr ? now->entry->d_name : nullptr;
}

int FileFind::GetFileType() {
    const Entry* const now = Active(dir, current);
    if (now == nullptr) {
        return 0;
    }
    switch (now->info.st_mode & S_IFMT) {
        case S_IFREG:
            return 2;
        case S_IFDIR:
            return 3;
        default:
            return 1;
    }
}

unsigned long long FileFind::GetFileSize() {
    const Entry* const now = Active(dir, current);
    return now != nullptr ? static_cast<unsigned long long>(now->info.st_size)
                          : 0;
}

long long FileFind::GetFileLastWriteTime() {
    const Entry* const now = Active(dir, current);
    return now != nullptr ? Milliseconds(ModificationTime(now->info)) : 0;
}

long long FileFind::GetFileLastAccessTime() {
    const Entry* const now = Active(dir, current);
    return now != nullptr ? Milliseconds(StatusChangeTime(now->info)) : 0;
}

long long FileFind::GetFileCreationTime() {
    const Entry* const now = Active(dir, current);
    return now != nullptr ? Milliseconds(StatusChangeTime(now->info).tv_sec,
                                         AccessTime(now->info).tv_nsec)
                          : 0;
}

unsigned long FileFind::GetMaxFileNameSize() {
    return Active(dir, current) != nullptr ? 1024 : 0;
}

// Status

bool GetFileInfo(const std::string& directory, const char* name,
                 struct stat& out) {
    if (name == nullptr) {
        return false;
    }
    return ::stat((directory + name).c_str(), &out) == 0;
}

}  // namespace Novu
