// Beside: the names of files that stand beside a document for a while.

#ifndef INVENTORY_BESIDE_H_
#define INVENTORY_BESIDE_H_

#include <string>

namespace Inventory {

/// ".NAME" and the suffix, in the document's folder. A name that would be too
/// long is cut; two that are alike up to there then meet.
inline std::string Beside(const std::string& document,
                          const std::string& suffix) {
    const std::size_t start = document.rfind('/') + 1;
    return document.substr(0, start) + "." + document.substr(start, 240) +
           suffix;
}

}  // namespace Inventory

#endif  // INVENTORY_BESIDE_H_
