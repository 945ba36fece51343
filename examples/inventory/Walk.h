// Walk: the entries of a folder and of all folders in it, one after another.

#ifndef INVENTORY_WALK_H_
#define INVENTORY_WALK_H_

#include <string>
#include <vector>

#include "Entry.h"

struct stat;

namespace Inventory {

FileId IdOf(const struct stat& info);

/// Fills in type, size and times.
void TakeStatus(const struct stat& info, Entry& entry);

/// In the order of `IsBefore`, whatever order the file system has. Symbolic
/// links are entries and not followed. One folder is open at a time, and none
/// between calls. An entry or folder that cannot be read is an entry all the
/// same, and its `problem` says why.
class Walk {
public:
    /// `folder` may itself be a link. Throws Failure when it cannot be read,
    /// or the program is interrupted.
    explicit Walk(const std::string& folder);

    /// Moves to the next entry; false at the end. Throws Failure when the
    /// program is interrupted.
    bool Next(Entry& entry);

private:
    bool Open(const std::string& path, std::string& problem);

    std::string root;            // Ends in "/".
    std::vector<Entry> pending;  // Still to be answered, the next one last.
};

}  // namespace Inventory

#endif  // INVENTORY_WALK_H_
