// inventory verify: a folder compared with its inventory.

#include "DocumentReader.h"
#include "Names.h"
#include "Output.h"
#include "Progress.h"
#include "Verbs.h"
#include "Walk.h"

namespace Inventory {

namespace {

// The lines of the result, and their counts.
class Comparison {
public:
    void Added(const Entry& now) {
        ++added;
        lines += "added    " + Printable(now.path) + "\n";
    }
    void Removed(const Entry& before) {
        ++removed;
        lines += "removed  " + Printable(before.path) + "\n";
    }
    void Both(const Entry& before, const Entry& now) {
        const std::string changes = Changes(before, now);
        if (changes.empty()) {
            ++same;
        } else {
            ++changed;
            lines += "changed  " + Printable(now.path) + " (" + changes + ")\n";
        }
    }
    void NotCompared() { ++notCompared; }

    bool IsSame() const { return lines.empty(); }

    std::string Text() const {
        std::string counts = std::to_string(added) + " added, " +
                             std::to_string(removed) + " removed, " +
                             std::to_string(changed) + " changed, " +
                             std::to_string(same) + " the same";
        if (notCompared != 0) {
            counts += ", " + std::to_string(notCompared) + " not compared";
        }
        return lines + counts + "\n";
    }

private:
    std::string lines;
    unsigned long long added = 0;
    unsigned long long removed = 0;
    unsigned long long changed = 0;
    unsigned long long same = 0;
    unsigned long long notCompared = 0;
};

}  // namespace

ExitStatus Verify(const Options& options) {
    const std::vector<Entry> document = ReadDocument(options.document);
    Walk walk(options.folder);
    Comparison comparison;
    {
        Progress progress;
        auto before = document.begin();  // The next one; both are in order.
        Entry now;
        while (walk.Next(now)) {
            if (!now.problem.empty()) {
                progress.Complain("unreadable: " + Printable(now.path) + ": " +
                                  now.problem);
            }
            while (before != document.end() &&
                   IsBefore(before->path, now.path)) {
                comparison.Removed(*before++);
            }
            if (before == document.end() || before->path != now.path) {
                comparison.Added(now);
            } else {
                comparison.Both(*before++, now);
            }
            // Whether what was in it is still there, nobody can say.
            while (!now.problem.empty() && before != document.end() &&
                   IsBelow(before->path, now.path)) {
                comparison.NotCompared();
                ++before;
            }
            progress.Count(now);
        }
        while (before != document.end()) {
            comparison.Removed(*before++);
        }
    }
    Print(comparison.Text());
    return comparison.IsSame() ? kDone : kDifferent;
}

}  // namespace Inventory
