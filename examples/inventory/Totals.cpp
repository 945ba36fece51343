// The sums, from Totals.h.

#include "Totals.h"

#include <algorithm>
#include <iterator>
#include <map>

#include "Names.h"
#include "Output.h"

namespace Inventory {

namespace {

std::string ExtensionOf(const std::string& path) {
    const std::string name = path.substr(path.rfind('/') + 1);
    const std::size_t dot = name.rfind('.');
    return dot != std::string::npos ? name.substr(dot + 1) : "";
}

const long long kDay = 86'400'000;  // Milliseconds.

const struct Age {
    const char* name;
    long long days;  // It ends there; 0: it does not end.
} kAges[] = {
    {"under a day", 1},      {"under a week", 7},   {"under a month", 30},
    {"under a quarter", 91}, {"under a year", 365}, {"a year and more", 0},
};

}  // namespace

NamedTotals TotalsByExtension(const std::vector<Entry>& entries,
                              std::size_t most) {
    std::map<std::string, Total> ofExtension;
    for (const Entry& entry : entries) {
        if (entry.type == Type::File) {
            ofExtension[ExtensionOf(entry.path)].Add({1, entry.size});
        }
    }
    NamedTotals sorted(ofExtension.begin(), ofExtension.end());
    // Stable: extensions of as many bytes stay in the order of their names.
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& a, const auto& b) {
                         return a.second.bytes > b.second.bytes;
                     });
    NamedTotals totals;
    Total others;
    for (const auto& [extension, total] : sorted) {
        if (totals.size() < most) {
            totals.emplace_back(
                extension.empty() ? "(none)" : Printable(extension), total);
        } else {
            others.Add(total);
        }
    }
    if (others.entries != 0) {
        totals.emplace_back("(others)", others);
    }
    return totals;
}

NamedTotals TotalsByAge(const std::vector<Entry>& entries, long long now) {
    NamedTotals totals;
    for (const Age& age : kAges) {
        totals.emplace_back(age.name, Total());
    }
    for (const Entry& entry : entries) {
        if (entry.type != Type::File) {
            continue;
        }
        // Compared with a time, because the difference of two could overflow.
        const auto* const found = std::find_if(
            std::begin(kAges), std::end(kAges), [&](const Age& age) {
                return age.days == 0 || entry.modified > now - age.days * kDay;
            });
        totals[static_cast<std::size_t>(found - kAges)].second.Add(
            {1, entry.size});
    }
    return totals;
}

Total SumOf(const NamedTotals& totals) {
    Total sum;
    for (const auto& [name, total] : totals) {
        sum.Add(total);
    }
    return sum;
}

std::string ShareOf(const Total& part, const Total& whole) {
    const double share = whole.bytes == 0
                             ? 0
                             : static_cast<double>(part.bytes) /
                                   static_cast<double>(whole.bytes);
    return WithDecimals(share * 100, 1) + " %";
}

}  // namespace Inventory
