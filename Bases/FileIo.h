// FileIo: one file, read and written at a position.
//
// Units    Positions and sizes are in bytes.
// Errors   Results only: 0, false, or -1 from Seek while closed; errno is left
//          as the system set it. A count of 0 from Read is the end of the file
//          or a failure.
// Threads  One thread at a time for each object.
// See      docs/surprises.md, "Files", for what is By design.

#ifndef NOVU_BASES_FILEIO_H_
#define NOVU_BASES_FILEIO_H_

#include <string>

#include "Bases/Export.h"

namespace Novu {

/// Closed, or open on one descriptor.
///
/// Example (examples/FileIo.cpp):
///
///     Novu::FileIo file;
///     if (!file.Open(path, kRead, 0, kExisting)) {
///         return false;
///     }
///     char piece[4096];
///     while (const unsigned int count = file.Read(piece, sizeof(piece))) {
///         text.append(piece, count);
///     }
class NOVU_API FileIo {
public:
    static const int InvalidFileIoHandle = -1;  ///< The descriptor when closed.

    FileIo();  ///< Closed.

    FileIo(const FileIo&) = delete;  // A copy would close the descriptor twice.
    FileIo& operator=(const FileIo&) = delete;

    virtual ~FileIo();  ///< As `Close`.

    /// Closes what is open, then opens the file `name`. Refused for an `access`
    /// with neither bit and, with errno EOPNOTSUPP, for a `creation` with none
    /// of its bits.
    /// By design [fileio-8]: the object is closed also where this is refused.
    /// By design [fileio-9]: new files have mode 0600.
    ///
    ///   access    0x80000000 read, 0x40000000 write, or both
    ///   creation  1  a new file; an existing one is refused
    ///             2  a new file, or an existing one emptied
    ///             3  as 2
    ///             4  an existing file
    ///             5  as 1
    ///             6  as 2
    ///             7  as 2
    ///   share     where its low two bits are set, codes 1 to 3 are tried a
    ///             second time as they are; else for a new file only
    ///
    /// Other bits of the codes mean nothing.
    ///
    /// @warning By design [fileio-1]: creation 3 (and 6, and 7) empties an
    /// existing file, also when it is opened for reading only.
    ///
    /// @warning By design [fileio-2]: `share` locks nothing. Codes 1 to 3 have
    /// a second attempt where the first one fails or gets descriptor 0, as in a
    /// program without standard input. The first has then emptied or made the
    /// file all the same, and the answer can still be false.
    bool Open(const std::string& name, unsigned int access, unsigned int share,
              unsigned int creation);

    void Close();     ///< Closes the descriptor; harmless when closed.
    bool IsOpened();  ///< Whether a file is open.

    /// By design [fileio-3]: always empty; no path is kept.
    void GetPath(std::string& out);
    std::string GetPath();

    /// Read and write up to `len` bytes at the position, in one call of the
    /// system; the answer is how many it was.
    /// By design [fileio-10]: that is 0 for a failure, as at the end of a file.
    unsigned int Read(void* buf, unsigned int len);
    unsigned int Write(void* buf, unsigned int len);

    /// Moves the position and answers it. `origin` 0 counts from the start, 1
    /// from the position, 2 from the end; any other is refused.
    /// By design [fileio-7]: a failure answers 0, as the start of the file
    /// does, in this and in the next five; errno tells. Only `Seek` on a closed
    /// object answers -1.
    long long Seek(long long offset, unsigned int origin);

    long long SeekFromBegin(long long offset);  ///< Counts from the start.
    long long SeekToBegin();                    ///< To the start.

    /// By design [fileio-4]: a positive `offset` moves back from the end.
    long long SeekFromEnd(long long offset);
    long long SeekToEnd();  ///< To the end.

    long long Tell();  ///< The position.

    /// The size.
    /// By design [fileio-5]: the position is at the end afterwards.
    long long GetFileSize();

    /// Move the position to the end.
    /// @warning By design [fileio-6]: neither changes the size of the file,
    /// whatever their names say. SetFileSize refuses a negative `size`.
    bool SetEndOfFile();
    bool SetFileSize(long long size);

    bool Flush();  ///< Has the system write to the disk (fsync).

private:
    long long invalidPosition;  // -1, for Seek while closed.
    int fd;                     // InvalidFileIoHandle while closed.
    std::string path;           // Always empty.
};

}  // namespace Novu

#endif  // NOVU_BASES_FILEIO_H_
