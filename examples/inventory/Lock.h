// Lock: that one program at a time writes a document.

#ifndef INVENTORY_LOCK_H_
#define INVENTORY_LOCK_H_

#include <string>

#include "Entry.h"

namespace Inventory {

/// Held from the beginning to the end of the object: a file ".NAME.lock" beside
/// the document, with the holder's process number in it, locked by flock. The
/// system lets go of it when the holder ends, however it ends; the file itself
/// goes with the object, and one that a killed holder left is taken over, where
/// it may be written: by its owner.
///
/// Not the library's named Mutex, for two reasons. It is a semaphore, which a
/// holder that is killed leaves taken for good. And whoever destroys it takes
/// the name away, also from those who wait: two could then hold it at once.
class Lock {
public:
    /// For the document at `path`. Throws Failure, which says by whom, where it
    /// is held.
    explicit Lock(const std::string& path);
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    ~Lock();

    /// Whether the entry is the lock's file.
    bool Is(const Entry& entry) const;

private:
    bool Take(const std::string& document);
    bool HasItsName() const;

    std::string name;
    int descriptor = -1;
    FileId id;
};

}  // namespace Inventory

#endif  // INVENTORY_LOCK_H_
