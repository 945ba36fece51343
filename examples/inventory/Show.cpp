// inventory show: totals and the largest files of an inventory.

#include <Bases/Time.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <set>
#include <utility>

#include "Chart.h"
#include "DocumentReader.h"
#include "Files.h"
#include "Interrupt.h"
#include "Names.h"
#include "Output.h"
#include "Totals.h"
#include "Verbs.h"

namespace Inventory {

namespace {

using Rows = std::vector<std::vector<std::string>>;

const std::size_t kMostShown = 20;

std::vector<std::string> Row(const Total& total, const std::string& name) {
    return {std::to_string(total.entries), std::to_string(total.bytes),
            HumanSize(total.bytes), name};
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
    const NamedTotals totals = TotalsByExtension(entries, kMostShown);
    const Total whole = SumOf(totals);
    Rows rows = {{"files", "bytes", "size", "extension", "share"}};
    for (const auto& [name, total] : totals) {
        rows.push_back(Row(total, name));
        rows.back().push_back(ShareOf(total, whole));
    }
    return Table(rows, /*leftColumn=*/3);
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
    if (options.chart) {
        RequireOtherFile(*options.chart, options.document,
                         "the chart would replace the inventory");
        if (options.seal) {
            RequireOtherFile(*options.chart, *options.seal,
                             "the chart would replace the key");
        }
    }
    const std::vector<Entry> entries =
        ReadDocument(options.document, ReadKey(options.seal));
    if (options.chart) {
        RequireReplaceable(*options.chart);
        CatchInterrupts();
        // GetCurTime is shifted by the time zone, and this one is not.
        DrawChart(entries, Novu::GetCurLocalTime(), *options.chart);
        ReleaseInterrupts();
    }
    Print(TypeTable(entries) + "\n" + ExtensionTable(entries) + "\n" +
          LargestTable(entries));
    return kDone;
}

}  // namespace Inventory
