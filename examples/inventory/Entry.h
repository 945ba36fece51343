// Entry: what the inventory knows of one file, folder or link.

#ifndef INVENTORY_ENTRY_H_
#define INVENTORY_ENTRY_H_

#include <optional>
#include <string>

namespace Inventory {

enum class Type { File, Folder, Link, Other, Unreadable };

inline constexpr Type kTypes[] = {Type::File, Type::Folder, Type::Link,
                                  Type::Other, Type::Unreadable};

/// The type's name in documents and in print.
const char* NameOf(Type type);

std::optional<Type> TypeNamed(const std::string& name);

/// Which file it is on this system, whatever its names are.
struct FileId {
    unsigned long long device = 0;
    unsigned long long number = 0;  // The inode; 0 where it is not known.

    bool operator==(const FileId& other) const = default;
};

/// Times are milliseconds since 1970-01-01 00:00:00 UTC. Size and times are
/// those of the entry itself, never of what a link points to.
struct Entry {
    std::string path;              // Below the folder; bytes as on the disk.
    Type type = Type::Unreadable;  // Unreadable: there is no status.
    unsigned long long size = 0;   // In bytes.
    long long modified = 0;        // Last change of the content.
    long long changed = 0;         // Last change of the status.
    long long created = 0;         // Whole seconds.

    // In no document.
    FileId id;
    long long modifiedExactly = 0;  // Nanoseconds.
    long long changedExactly = 0;
    long long listedExactly = 0;  // When these were asked for, or just before.

    std::string target;               // Of a link; bytes as on the disk.
    bool contentsUnreadable = false;  // Of a folder.
    std::string md5;      // Of a file, where it was asked for: 32 hex digits.
    std::string problem;  // Why it, or what is in it, cannot be read.
};

/// What to tell the user of an entry with a problem.
std::string Complaint(const Entry& entry);

/// The order of a walk: a folder, then what is in it, then the folder's next
/// sibling; siblings by the bytes of their names.
bool IsBefore(const std::string& path, const std::string& other);

/// True when `path` lies in the folder `folder`, at any depth.
bool IsBelow(const std::string& path, const std::string& folder);

/// What has changed, for people; empty when nothing that counts has. Contents
/// count where both have a digest, or `now` has a problem in its place.
std::string Changes(const Entry& before, const Entry& now);

/// The sum, or the largest number where the sum is larger (sparse files claim
/// what no disk holds).
unsigned long long AddSizes(unsigned long long a, unsigned long long b);

}  // namespace Inventory

#endif  // INVENTORY_ENTRY_H_
