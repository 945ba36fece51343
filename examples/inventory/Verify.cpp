// inventory verify: a folder compared with its inventory.

#include <utility>

#include "Digests.h"
#include "DocumentReader.h"
#include "Interrupt.h"
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
        if (!before.md5.empty() && !now.md5.empty()) {
            ++digests;
        }
    }
    void NotCompared() { ++notCompared; }

    bool IsSame() const { return lines.empty(); }

    std::string Text(bool withDigests) const {
        std::string counts = std::to_string(added) + " added, " +
                             std::to_string(removed) + " removed, " +
                             std::to_string(changed) + " changed, " +
                             std::to_string(same) + " the same";
        if (notCompared != 0) {
            counts += ", " + std::to_string(notCompared) + " not compared";
        }
        if (withDigests) {
            counts += ", " + std::to_string(digests) + " digests compared";
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
    unsigned long long digests = 0;  // Compared, with any outcome.
};

// Where its digest is compared; what turns out not to be read counts as if.
unsigned long long BytesToRead(const Entry& listed) {
    return listed.md5.empty() ? 0 : listed.size;
}

unsigned long long WorkOf(const std::vector<Entry>& document, bool digest) {
    if (!digest) {
        return document.size();
    }
    unsigned long long bytes = 0;
    for (const Entry& entry : document) {
        bytes = AddSizes(bytes, BytesToRead(entry));
    }
    return bytes;
}

}  // namespace

ExitStatus Verify(const Options& options) {
    const std::vector<Entry> document =
        ReadDocument(options.document, ReadKey(options.seal));
    CatchInterrupts();
    Walk walk(options.folder);
    Comparison comparison;
    {
        Progress progress(options.digest);
        progress.Expect(WorkOf(document, options.digest));
        Digests digests(options.folder, [&progress](unsigned long long bytes) {
            progress.Tick(bytes);
        });
        auto before = document.begin();  // The next one; both are in order.
        const auto addRemoved = [&] {
            const Entry* const removed = &*before++;
            digests.Add(Entry(), /*wanted=*/false,
                        [&comparison, &progress, removed](const Entry&) {
                            comparison.Removed(*removed);
                            progress.Count(BytesToRead(*removed));
                        });
        };
        Entry now;
        while (walk.Next(now)) {
            while (before != document.end() &&
                   IsBefore(before->path, now.path)) {
                addRemoved();
            }
            const bool isListed =
                before != document.end() && before->path == now.path;
            const Entry* const listed = isListed ? &*before++ : nullptr;
            // Where the size differs, so does the content.
            const bool wanted =
                options.digest && isListed && !listed->md5.empty() &&
                now.type == Type::File && now.size == listed->size;
            digests.Add(now, wanted, [&, listed](const Entry& entry) {
                if (!entry.problem.empty()) {
                    progress.Complain(Complaint(entry));
                }
                if (listed == nullptr) {
                    comparison.Added(entry);
                    progress.Count(0);
                } else {
                    comparison.Both(*listed, entry);
                    progress.Count(BytesToRead(*listed));
                }
            });
            // Whether what was in it is still there, nobody can say.
            while (!now.problem.empty() && before != document.end() &&
                   IsBelow(before->path, now.path)) {
                comparison.NotCompared();
                progress.Count(BytesToRead(*before));
                ++before;
            }
        }
        while (before != document.end()) {
            addRemoved();
        }
        digests.Finish();
    }
    ReleaseInterrupts();
    Print(comparison.Text(options.digest));
    return comparison.IsSame() ? kDone : kDifferent;
}

}  // namespace Inventory
