// RegularFile: a file that is open to be read, and neither pipe nor device.

#ifndef INVENTORY_REGULARFILE_H_
#define INVENTORY_REGULARFILE_H_

#include <Bases/FileIo.h>

#include <string>

#include "Entry.h"

namespace Inventory {

/// FileIo alone would wait at a FIFO until somebody writes to it, and a FIFO
/// can stand where a walk has seen a file. So the file is opened here first,
/// without waiting, and FileIo opens the descriptor, by its name in /dev/fd.
class RegularFile {
public:
    /// Throws Failure, with the reason alone, where there is no file (a link is
    /// none) or it cannot be opened.
    explicit RegularFile(const std::string& path);
    RegularFile(const RegularFile&) = delete;
    RegularFile& operator=(const RegularFile&) = delete;
    ~RegularFile();

    /// At its beginning.
    Novu::FileIo& Io() { return io; }

    /// A name of this very file, whatever stands at its path by now.
    std::string Name() const;

    /// Whether size and times are those of `listed`.
    bool IsAsListed(const Entry& listed) const;

private:
    explicit RegularFile(int opened);

    int descriptor;
    Novu::FileIo io;
};

/// Fewer bytes than `count` only at the end, or where reading fails; errno is
/// then 0 at the end.
std::size_t ReadBlock(Novu::FileIo& file, char* block, std::size_t count);

}  // namespace Inventory

#endif  // INVENTORY_REGULARFILE_H_
