// FileFind: walks the entries of one directory.
//
//   FindFirst, FindNext until false, FindClose
//
// Units    Times are milliseconds since 1970-01-01 00:00:00 UTC; sizes are in
//          bytes.
// Errors   Results only: false, 0 or null; errno is left as the system set it.
// Threads  One thread at a time for each object.
// See      docs/surprises.md, "Directory enumeration", for what is By design.
//
// By design [filefind-1]: directory and name are joined with nothing between
// them, so the directory must end in "/". FindFirst("/tmp", "") looks for
// "/tmpname" and fails, or answers for that file; FindFirst("/tmp/", "") works.
//
// By design [filefind-2]: FindFirst passes over "." and ".." until it has an
// entry; FindNext does not. Skip them by name.
//
// By design [filefind-3]: an entry whose status cannot be read (a dangling
// link, say) makes FindNext answer false as the end does, though it can be
// called again. GetFileName has then moved on to that entry, which it has not
// at the end; type, size and times are still those of the entry before.
// FindFirst fails on a directory whose first entry is such.
//
// By design [filefind-4]: symbolic links are followed. Type, size and times
// are those of the target; a link to a directory is a directory.

#ifndef NOVU_BASES_FILEFIND_H_
#define NOVU_BASES_FILEFIND_H_

#include <string>

#include "Bases/Export.h"

struct stat;  // Of <sys/stat.h>.

namespace Novu {

/// One enumeration at a time: idle, or with a stream open. Queries answer for
/// the current entry, and 0 or null when idle.
///
/// Example (examples/FileFind.cpp):
///
///     Novu::FileFind find;
///     for (bool known = find.FindFirst(folder, ""); known;
///          known = find.FindNext()) {
///         const std::string name = find.GetFileName();
///         if (name != "." && name != ".." && find.GetFileType() == 2) {
///             sizes[name] = find.GetFileSize();
///         }
///     }
class NOVU_API FileFind {
public:
    FileFind();  ///< Idle.

    /// Calls `FindFirst` and then drops the entry record.
    /// By design [filefind-5]: an object made this way has its stream open and
    /// answers 0, null and false to everything until `FindClose`.
    FileFind(const std::string& directory, const std::string& pattern);

    FileFind(const FileFind&) = delete;  // A copy would close the stream twice.
    FileFind& operator=(const FileFind&) = delete;

    virtual ~FileFind();  ///< As `FindClose`.

    /// Opens `directory` and moves to its first entry other than "." and "..".
    /// False, and idle, when there is none, or when the directory or the
    /// entry's status cannot be read; false, with nothing changed, while a
    /// stream is open.
    /// By design [filefind-6]: `pattern` is not used; every entry is found.
    /// @warning By design [filefind-1]: `directory` must end in "/".
    bool FindFirst(const std::string& directory, const std::string& pattern);

    /// Moves to the next entry. False at the end, for an entry whose status
    /// cannot be read, and when idle; the stream stays open.
    bool FindNext();

    void FindClose();  ///< Closes the stream; harmless when idle.

    /// The entry's name, without the directory; null when idle. It belongs to
    /// the stream and lasts until the next `FindNext` that does not find the
    /// end, or `FindClose`.
    const char* GetFileName();

    /// 2 for a regular file, 3 for a directory, 1 for anything else (a device,
    /// a pipe, a socket); 0 when idle.
    int GetFileType();

    unsigned long long GetFileSize();  ///< Of the entry; 0 when idle.
    long long GetFileLastWriteTime();  ///< Of the content; 0 when idle.

    /// By design [filefind-7]: the time of the last status change, not of the
    /// last access; 0 when idle.
    long long GetFileLastAccessTime();

    /// By design [filefind-7]: the seconds of the last status change with the
    /// milliseconds of the last access; 0 when idle.
    long long GetFileCreationTime();

    /// By design [filefind-8]: 1024, whatever the file system allows; 0 when
    /// idle.
    unsigned long GetMaxFileNameSize();

private:
    struct Entry;

    void* dir;       // The open DIR; null when idle.
    Entry* current;  // Owned; null until the first FindFirst, then kept.
};

/// Reads the status of `directory` + `name` (joined with nothing between them)
/// into `out`, following symbolic links. False when the system refuses, and
/// for a null `name`.
NOVU_API bool GetFileInfo(const std::string& directory, const char* name,
                          struct stat& out);

}  // namespace Novu

#endif  // NOVU_BASES_FILEFIND_H_
