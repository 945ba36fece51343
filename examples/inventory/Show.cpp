// inventory show: totals and the largest files of an inventory.

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <set>
#include <utility>

#include "DocumentReader.h"
#include "Names.h"
#include "Output.h"
#include "Verbs.h"

namespace Inventory {

namespace {

using Rows = std::vector<std::vector<std::string>>;

const std::size_t kMostShown = 20;

struct Total {
    unsigned long long entries = 0;
    unsigned long long bytes = 0;

    void Add(const Total& other) {
        entries += other.entries;
        bytes = AddSizes(bytes, other.bytes);
    }
};

std::vector<std::string> Row(const Total& total, const std::string& name) {
    return {std::to_string(total.entries), std::to_string(total.bytes),
            HumanSize(total.bytes), name};
}

// What follows the last "." of the last part of the path.
std::string ExtensionOf(const std::string& path) {
    const std::string name = path.substr(path.rfind('/') + 1);
    const std::size_t dot = name.rfind('.');
    return dot != std::string::npos ? name.substr(dot + 1) : "";
}

std::string TypeTable(const std::vector<Entry>& entries) {
    std::array<Total, std::size(kTypes)> ofType{};
    Total all;
    Total withDigest;
    Total duplicates;  // Of a file before them.
    std::set<std::pair<unsigned long long, std::string>> contents;
    for (const Entry& entry : entries) {
        const Total one{1, entry.size};
        ofType[static_cast<std::size_t>(entry.type)].Add(one);
        all.Add(one);
        if (!entry.md5.empty()) {
            withDigest.Add(one);
            if (!contents.emplace(entry.size, entry.md5).second) {
                duplicates.Add(one);
            }
        }
    }

    Rows rows = {{"entries", "bytes", "size", "type"}};
    for (const Type type : kTypes) {
        rows.push_back(
            Row(ofType[static_cast<std::size_t>(type)], NameOf(type)));
    }
    rows.push_back(Row(all, "(total)"));
    rows.push_back(Row(withDigest, "(files with a digest)"));
    rows.push_back(Row(duplicates, "(duplicates among them)"));
    return Table(rows);
}

std::string ExtensionTable(const std::vector<Entry>& entries) {
    std::map<std::string, Total> ofExtension;
    for (const Entry& entry : entries) {
        if (entry.type == Type::File) {
            ofExtension[ExtensionOf(entry.path)].Add({1, entry.size});
        }
    }
    std::vector<std::pair<std::string, Total>> sorted(ofExtension.begin(),
                                                      ofExtension.end());
    // Stable: extensions of as many bytes stay in the order of their names.
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& a, const auto& b) {
                         return a.second.bytes > b.second.bytes;
                     });

    Rows rows = {{"files", "bytes", "size", "extension"}};
    Total others;
    for (std::size_t i = 0; i < sorted.size(); ++i) {
        const auto& [extension, total] = sorted[i];
        if (i < kMostShown) {
            rows.push_back(Row(
                total, extension.empty() ? "(none)" : Printable(extension)));
        } else {
            others.Add(total);
        }
    }
    if (others.entries != 0) {
        rows.push_back(Row(others, "(others)"));
    }
    return Table(rows);
}

std::string LargestTable(std::vector<Entry> entries) {
    std::erase_if(entries,
                  [](const Entry& entry) { return entry.type != Type::File; });
    std::stable_sort(
        entries.begin(), entries.end(),
        [](const Entry& a, const Entry& b) { return a.size > b.size; });

    Rows rows = {{"bytes", "size", "file"}};
    for (std::size_t i = 0; i < std::min(kMostShown, entries.size()); ++i) {
        rows.push_back({std::to_string(entries[i].size),
                        HumanSize(entries[i].size),
                        Printable(entries[i].path)});
    }
    return Table(rows);
}

}  // namespace

ExitStatus Show(const Options& options) {
    const std::vector<Entry> entries =
        ReadDocument(options.document, ReadKey(options.seal));
    Print(TypeTable(entries) + "\n" + ExtensionTable(entries) + "\n" +
          LargestTable(entries));
    return kDone;
}

}  // namespace Inventory
