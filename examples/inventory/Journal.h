// Journal: the digests computed so far, for a later run to go on from.
//
//   inventory-journal 1
//   CHECK MD5 SIZE MODIFIED CHANGED DEVICE INODE PATH
//
// CHECK     The first 8 digits of the MD5 digest of the rest of the line.
// MODIFIED  and CHANGED: nanoseconds since 1970.
// PATH      Escaped, whatever it is, so that a line is a line.
//
// A line that is not whole, or does not meet its check, counts for nothing: so
// does what was being written when the program was killed.

#ifndef INVENTORY_JOURNAL_H_
#define INVENTORY_JOURNAL_H_

#include <map>
#include <string>

#include "Entry.h"

namespace Inventory {

/// A file ".NAME.journal" beside the document, written a line at a time.
class Journal {
public:
    /// Reads the journal that is there for the document at `path`, or begins
    /// one. For one program at a time: within the document's lock. Throws
    /// Failure; but one that others own, or may read or write, or that has
    /// another name, is left as it is, and `Refusal` says so.
    explicit Journal(const std::string& path);
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;
    ~Journal();

    /// Why the journal that is there is not used, or empty. Nothing of it
    /// counts then, nothing is added to it, and it is not to be removed.
    const std::string& Refusal() const { return refusal; }

    /// The digest of the file, or "": its path, size, times and number on this
    /// system are those of a line.
    std::string DigestOf(const Entry& entry) const;

    /// Adds a file that has its digest; one that has changed just now is left
    /// out, since the next change could have the same time. Just now: when it
    /// was listed, since its state is of then. The answer is what is wrong, or
    /// empty; once something is, nothing is added any more.
    std::string Add(const Entry& entry);

    /// Whether the entry is the journal's file.
    bool Is(const Entry& entry) const { return entry.id == id; }

    /// The document is there: the journal goes.
    void Remove();

    /// The name of what stands where the document's journal would, or empty.
    static std::string LeftBeside(const std::string& path);

private:
    void Read();

    std::string name;
    std::string refusal;
    int descriptor;
    FileId id;
    bool failed = false;
    std::map<std::string, std::string> digests;  // By what is said of the file.
};

}  // namespace Inventory

#endif  // INVENTORY_JOURNAL_H_
