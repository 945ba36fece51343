// DocumentReader: the entries of an inventory document.

#ifndef INVENTORY_DOCUMENTREADER_H_
#define INVENTORY_DOCUMENTREADER_H_

#include <optional>
#include <string>
#include <vector>

#include "Entry.h"
#include "Seal.h"

namespace Inventory {

/// Reads what DocumentWriter made. The entries are in the order of `IsBefore`,
/// and no path occurs twice. Throws Failure, with the file's name and what is
/// wrong, for elements, attributes and values that DocumentWriter does not
/// write; comments, text and namespace prefixes are passed over. A sealed one
/// needs its key, and any other none.
std::vector<Entry> ReadDocument(const std::string& path,
                                const std::optional<Key>& key);

}  // namespace Inventory

#endif  // INVENTORY_DOCUMENTREADER_H_
