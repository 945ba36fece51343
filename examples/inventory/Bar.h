// Bar: how far a work is, in a line.

#ifndef INVENTORY_BAR_H_
#define INVENTORY_BAR_H_

#include <cstddef>
#include <optional>
#include <string>

namespace Inventory {

/// Bytes count where files are read; otherwise entries do.
struct Work {
    unsigned long long entries = 0;  // Done.
    unsigned long long bytes = 0;    // Done.
    bool readsFiles = false;
    double seconds = 0;                       // Since the beginning.
    std::optional<unsigned long long> whole;  // Bytes or entries; none: it is
                                              // not known yet.
};

/// As "[####------]  40 %  12 entries  6 files/s  1,536 KiB/s  0:03 left", of
/// at most `columns` characters: first the bar becomes shorter, then what is on
/// the right goes.
std::string BarLine(const Work& work, std::size_t columns);

}  // namespace Inventory

#endif  // INVENTORY_BAR_H_
