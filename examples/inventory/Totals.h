// Totals: sums over the entries of an inventory.

#ifndef INVENTORY_TOTALS_H_
#define INVENTORY_TOTALS_H_

#include <string>
#include <utility>
#include <vector>

#include "Entry.h"

namespace Inventory {

struct Total {
    unsigned long long entries = 0;
    unsigned long long bytes = 0;

    void Add(const Total& other) {
        entries += other.entries;
        bytes = AddSizes(bytes, other.bytes);
    }
};

using NamedTotals = std::vector<std::pair<std::string, Total>>;

/// Of files, by their extensions: what follows the last "." of a name. The one
/// with the most bytes is first; names are ready to be printed. Beyond `most`
/// there is one for all others.
NamedTotals TotalsByExtension(const std::vector<Entry>& entries,
                              std::size_t most);

/// Of files, by the time since their last change, the shortest first; a time to
/// come counts as none. `now` is in milliseconds since 1970.
NamedTotals TotalsByAge(const std::vector<Entry>& entries, long long now);

/// Of all of them.
Total SumOf(const NamedTotals& totals);

/// As "12.5 %".
std::string ShareOf(const Total& part, const Total& whole);

}  // namespace Inventory

#endif  // INVENTORY_TOTALS_H_
