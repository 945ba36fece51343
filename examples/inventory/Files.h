// Files: whole files, read, or put in their place in one step.

#ifndef INVENTORY_FILES_H_
#define INVENTORY_FILES_H_

#include <functional>
#include <string>

namespace Inventory {

/// All bytes of the file. Throws Failure, with the reason alone, where it
/// cannot be read, or has more than `most`.
std::string ReadFile(const std::string& path, std::size_t most,
                     const std::string& whenMore);

/// Throws Failure when something is at `path` that is no file, and which a
/// document must not replace: a folder, a link, a device.
void RequireReplaceable(const std::string& path);

/// Throws Failure, which names `target` and says `problem`, when what is put at
/// `target` would replace the file at `path`, whatever names lead to it.
void RequireOtherFile(const std::string& target, const std::string& path,
                      const std::string& problem);

/// Writes the file of that name, which is there and empty. False, with errno,
/// where it cannot.
using Writing = std::function<bool(const std::string& name)>;

/// Puts at `path` what `write` writes, whole or not at all: it is written
/// beside, has to have `size` bytes then, and is renamed. Not at all when the
/// program is interrupted before that. Throws Failure.
void PutAt(const std::string& path, unsigned long size, const Writing& write);

/// The same, for bytes.
void PutAt(const std::string& path, std::string bytes);

}  // namespace Inventory

#endif  // INVENTORY_FILES_H_
