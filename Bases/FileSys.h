// FileSys: files and directories by their paths.
//
//   IsExistFile  IsDirectory
//   CreateDir  CreateDirLevel  DeleteDir      directories
//   CopyFile  MoveFile  DeleteFile            files
//   GetFileSize                               empties the file: see there
//   GetDiskSize  GetDiskTotalSize  GetDiskUsedSize  GetDiskFreeSize
//   GetFileExt                                from the last dot on
//   GetRootPath                               does nothing
//
// Shape    Paths go to the system as they are; "/" separates.
// Units    Sizes are in bytes.
// Errors   False or null, with outputs untouched and errno as the system left
//          it. What was done before a failure is not undone.
// Threads  Any; nothing is shared but the file system.
// See      docs/surprises.md, "File system", for what is By design.
//
// Example (examples/FileSys.cpp):
//
//     // Level 1: every missing folder of an absolute path.
//     if (!FileSys::CreateDirLevel(folder + "/backup/", 1, 1) ||
//         !FileSys::CopyFile(from, to) ||  // Refused where there is one.
//         std::filesystem::file_size(from) != std::filesystem::file_size(to)) {
//         return false;  // A full disk is seen by the sizes alone.
//     }

#ifndef NOVU_BASES_FILESYS_H_
#define NOVU_BASES_FILESYS_H_

#include <string>

#include "Bases/Export.h"

/// Files and directories by their paths.
namespace Novu::FileSys {

// Tests

/// Whether there is a file of any kind that the real user can reach; false for
/// null. Links are followed.
NOVU_API bool IsExistFile(const char* path);
NOVU_API bool IsExistFile(const std::string& path);

/// Whether it is a directory. Links are followed.
NOVU_API bool IsDirectory(const std::string& path);

// Directories

/// Makes a directory with mode 0755 in one that exists.
NOVU_API bool CreateDir(const std::string& path);

/// Makes the missing directories along `path`, each with mode 0755: those in
/// front of a "/" and, when `createLast` is not 0, the last component. The
/// search for a "/" begins at position `level`.
///
/// By design [filesys-12]: but for [filesys-1], true only when `path` then is a
/// directory, whatever was to be made.
/// By design [filesys-1]: `level` 0, or one not less than the path's length,
/// stands for the start of a relative path, and for the third component of an
/// absolute one:
/// "/Users/name/" is taken to exist. An absolute path with fewer than two "/"
/// from position 2 on answers true at once, and nothing is made.
/// By design [filesys-2]: a leading part of two characters, as "a/", is never
/// made.
NOVU_API bool CreateDirLevel(const std::string& path, unsigned long level,
                             int createLast);

/// Removes an empty directory.
NOVU_API bool DeleteDir(const std::string& path);

// Files

/// Copies contents and mode (less the umask), and the owner where that is
/// allowed, which clears the set-user and set-group bits. False where `to`
/// exists.
///
/// @warning By design [filesys-3]: once the target is open the answer is true.
/// Reads and writes that fail, a full disk too, are not noticed: compare the
/// files where it matters. A directory as `from` gives an empty file.
///
/// @warning By design [filesys-8]: whether `to` exists is asked first, by
/// `IsExistFile`. What that does not see - a file that the real user cannot
/// reach, one that appears meanwhile, the target of a dangling link - is
/// written over from its start, or made.
NOVU_API bool CopyFile(const std::string& from, const std::string& to);

/// Renames, within one volume.
/// @warning By design [filesys-9]: a file `to` is replaced, unlike in
/// `CopyFile`.
NOVU_API bool MoveFile(const std::string& from, const std::string& to);

/// Removes a file. False for an empty path.
/// @warning By design [filesys-10]: removes an empty directory as well.
NOVU_API bool DeleteFile(const std::string& path);

// Sizes

/// Not the way to learn a size.
/// @warning By design [filesys-4]: this EMPTIES the file, or makes it where it
/// is missing, and then answers true with a size of 0. Only a file that the
/// caller may not write to is left alone, and the answer is false; root may
/// write to every file. A FIFO blocks. The size of a file is FileFind's
/// `GetFileInfo`, or `FileIo` opened with creation 4.
NOVU_API bool GetFileSize(const std::string& path, unsigned long long& size);

/// The volume that holds `path`. `used` counts what is reserved for root, too;
/// `free` is what others may use.
/// By design [filesys-5]: `used` is computed from the lowest 32 bits of the
/// number of used blocks.
/// By design [filesys-11]: blocks are taken for `f_bsize` bytes, where the
/// system means `f_frsize`.
NOVU_API bool GetDiskSize(const std::string& path, unsigned long long& total,
                          unsigned long long& used, unsigned long long& free);
NOVU_API bool GetDiskTotalSize(const std::string& path,
                               unsigned long long& total);
NOVU_API bool GetDiskUsedSize(const std::string& path,
                              unsigned long long& used);
NOVU_API bool GetDiskFreeSize(const std::string& path,
                              unsigned long long& free);

// Names

/// The text from the last dot on, the dot included; null, or false, without
/// one. Texts end at their first zero; `path` is not null.
/// By design [filesys-13]: the pointer is into `path` itself.
/// By design [filesys-6]: the dot may stand anywhere: "/a.b/c" gives ".b/c",
/// ".profile" gives itself.
NOVU_API const char* GetFileExt(const std::string& path);
NOVU_API const char* GetFileExt(const char* path);
NOVU_API bool GetFileExt(const std::string& path, std::string& ext);

/// By design [filesys-7]: does nothing, and is false.
NOVU_API bool GetRootPath(const std::string& path, std::string& root);

}  // namespace Novu::FileSys

#endif  // NOVU_BASES_FILESYS_H_
