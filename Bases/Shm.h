// Shm: a System V shared-memory segment, found by a name.
//
// Shape    The name becomes the segment's key by h = h * 33 + c from 5381 over
//          its bytes, taken as signed, cut to 32 bits. There is no file.
// Units    Sizes are in bytes.
// Errors   Results only; errno is left as the system set it.
// Threads  One thread at a time for each object. The contents of a segment are
//          its users' concern.
// See      docs/surprises.md, "Shared memory", for what is By design.

#ifndef NOVU_BASES_SHM_H_
#define NOVU_BASES_SHM_H_

#include "Bases/Export.h"

namespace Novu {

/// Holds the identifier of one segment, or none.
///
/// @warning By design [shm-1]: `Close` and the destructor remove the segment
/// for everyone. Those who have it mapped keep it until they unmap it; nobody
/// finds it by its name any more.
///
/// @warning By design [shm-2]: a new segment that is to be written to has mode
/// 0555, one that is only to be read 0666. Without privilege, not even its
/// owner can map the former for writing, and both sides have to ask for the
/// same.
///
/// By design [shm-3]: an identifier of 0, which the system may give to the
/// first segment after it has started, is taken for none: `Create` answers
/// true, `Open` and `IsOpened` false, `Map` null, and the segment is never
/// removed.
///
/// @warning By design [shm-7]: names with one key are one segment, which the
/// `Close` of a stranger can remove. A name whose key is 0 makes a segment that
/// nobody else can open.
///
/// Example (examples/Shm.cpp):
///
///     Novu::Shm shared;
///     unsigned char* memory = nullptr;
///     if (shared.Open(name.c_str(), 0)) {
///         memory = shared.Map();
///         if (~reinterpret_cast<std::uintptr_t>(memory) == 0) {
///             memory = nullptr;  // All ones is a failure, too.
///         }
///     }
class NOVU_API Shm {
public:
    Shm();  ///< Holds none.

    Shm(const Shm&) = delete;  // A copy would remove the segment twice.
    Shm& operator=(const Shm&) = delete;

    virtual ~Shm();  ///< As `Close`.

    /// Makes a segment of that name (not null); false where there is one, and
    /// while this object holds an identifier. With `forReading` 0 and
    /// `zeroFill` not 0 its bytes are set to 0, where it can be mapped for
    /// writing (the system's segments begin with zeros anyway).
    /// By design [shm-4]: after a failure the object counts as opened, and must
    /// be closed before it is used again.
    bool Create(unsigned long size, const char* name, int forReading,
                int zeroFill);

    /// Finds the segment of that name (not null). False while this object holds
    /// an identifier.
    /// By design [shm-5]: true also where there is no such segment; `Map` then
    /// fails. Close the object before it is used again.
    bool Open(const char* name, int forReading);

    bool IsOpened();  ///< Whether it holds an identifier, or a failure.

    /// Maps the segment, for reading only when `forReading` was not 0. Null
    /// where the object holds none.
    /// By design [shm-6]: for a failure the answer is the system's, -1 as a
    /// pointer (all bits 1), not null.
    unsigned char* Map();

    bool Unmap(unsigned char* address);  ///< False for null.

    void Close();  ///< Removes the segment; harmless when it holds none.

private:
    int shmId;     // 0 for none; -1 after a failure.
    int readOnly;  // Not 0: Map asks for reading only.
};

}  // namespace Novu

#endif  // NOVU_BASES_SHM_H_
