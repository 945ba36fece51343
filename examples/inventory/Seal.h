// Seal: a document enciphered as a whole, under a key, as lines of text.
//
//   inventory-sealed 1
//   length 1234
//   hc8yQVBt...
//
// length    Of the document, in bytes: the cipher fills up its last block with
//           zeros, and does not say with how many.
// the rest  The document, enciphered by SEED, as Base64 in lines of 76
//           characters, the last one with those that are left.
//
// This is to show the cipher's use, and keeps no secret from who wants to know
// it: each block of 16 bytes is enciphered on its own, so that equal ones are
// seen to be equal, and nothing tells that blocks have been exchanged. Who
// needs secrecy takes an authenticated cipher.

#ifndef INVENTORY_SEAL_H_
#define INVENTORY_SEAL_H_

#include <array>
#include <optional>
#include <string>

namespace Inventory {

using Key = std::array<unsigned char, 16>;

/// The key in the file: 32 hexadecimal digits and, perhaps, a line end. Throws
/// Failure, which names the file.
Key ReadKey(const std::string& path);

/// The same; none without a path.
std::optional<Key> ReadKey(const std::optional<std::string>& path);

/// The sealed form of a document, which is not empty. Throws Failure where the
/// library does not give it.
std::string Seal(const unsigned char* document, unsigned long size,
                 const Key& key);

/// Whether the text claims to be sealed, in whatever version.
bool IsSealed(const std::string& text);

/// The document of a sealed text. Throws Failure, with the reason alone, for
/// what `Seal` does not make, and for another key.
std::string Unseal(const std::string& text, const Key& key);

}  // namespace Inventory

#endif  // INVENTORY_SEAL_H_
