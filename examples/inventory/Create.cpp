// inventory create: a folder's inventory as a document.

#include <array>
#include <iterator>
#include <optional>
#include <utility>

#include "Digests.h"
#include "DocumentWriter.h"
#include "Files.h"
#include "Interrupt.h"
#include "Journal.h"
#include "Lock.h"
#include "Names.h"
#include "Output.h"
#include "Progress.h"
#include "Verbs.h"
#include "Walk.h"

namespace Inventory {

namespace {

struct Summary {
    std::array<unsigned long long, std::size(kTypes)> ofType{};
    unsigned long long entries = 0;
    unsigned long long bytes = 0;
    unsigned long long closedFolders = 0;
    unsigned long long escaped = 0;
    unsigned long long withoutDigest = 0;  // Files whose digest was asked for.
    unsigned long long resumed = 0;        // Digests from a journal.

    void Count(const Entry& entry, bool wasEscaped) {
        ++entries;
        ++ofType[static_cast<std::size_t>(entry.type)];
        bytes = AddSizes(bytes, entry.type == Type::File ? entry.size : 0);
        closedFolders += entry.contentsUnreadable ? 1 : 0;
        escaped += wasEscaped ? 1 : 0;
        if (entry.type == Type::File && !entry.problem.empty()) {
            ++withoutDigest;
        }
    }

    std::string Text(const Options& options, unsigned long documentSize,
                     double seconds) const {
        std::vector<std::vector<std::string>> rows = {
            {std::to_string(entries), "entries"}};
        for (const Type type : kTypes) {
            rows.push_back(
                {std::to_string(ofType[static_cast<std::size_t>(type)]),
                 std::string("of type ") + NameOf(type)});
        }
        rows.push_back({std::to_string(closedFolders),
                        "folders with unreadable contents"});
        rows.push_back({std::to_string(escaped), "entries escaped"});
        if (options.digest) {
            rows.push_back(
                {std::to_string(withoutDigest), "files without a digest"});
        }
        if (options.resume) {
            rows.push_back(
                {std::to_string(resumed), "digests from the journal"});
        }
        rows.push_back({std::to_string(bytes), "bytes in files"});
        rows.push_back({std::to_string(documentSize), "bytes of document"});
        rows.push_back({WithDecimals(seconds, 2), "seconds"});
        return Table(rows);
    }
};

}  // namespace

ExitStatus Create(const Options& options) {
    CatchInterrupts();
    if (options.seal) {
        RequireOtherFile(options.document, *options.seal,
                         "the inventory would replace the key");
    }
    const std::optional<Key> key = ReadKey(options.seal);
    RequireReplaceable(options.document);
    std::optional<Lock> lock(options.document);
    DocumentWriter document(options.encoding);
    Walk walk(options.folder);  // Before a journal is made for nothing.
    std::optional<Journal> journal;
    if (options.resume) {
        journal.emplace(options.document);
        if (!journal->Refusal().empty()) {
            Complain(journal->Refusal());
            journal.reset();
        }
    }
    if (const std::string left = Journal::LeftBeside(options.document);
        key && !left.empty()) {
        Complain(Printable(left) +
                 ": is not sealed, and can have names and digests of before");
    }
    Summary summary;
    double seconds = 0;
    {
        Progress progress(options.digest);
        const auto add = [&](const Entry& entry, unsigned long long bytes) {
            const bool escaped = document.Add(entry);
            if (!entry.problem.empty()) {
                progress.Complain(Complaint(entry));
            }
            if (escaped) {
                progress.Complain("escaped: " + Printable(entry.path));
            }
            summary.Count(entry, escaped);
            progress.Count(bytes);
        };
        const Digests::Action addListed = [&](const Entry& entry) {
            add(entry, 0);
        };
        const Digests::Action addRead = [&](const Entry& entry) {
            if (journal && !entry.md5.empty()) {
                const std::string problem = journal->Add(entry);
                if (!problem.empty()) {
                    progress.Complain(problem);
                }
            }
            add(entry, entry.size);
        };
        Digests digests(options.folder, [&progress](unsigned long long bytes) {
            progress.Tick(bytes);
        });
        Entry entry;
        unsigned long long toRead = 0;
        while (walk.Next(entry)) {
            if (lock->Is(entry) || (journal && journal->Is(entry))) {
                continue;
            }
            bool wanted = options.digest && entry.type == Type::File;
            if (wanted && journal) {
                entry.md5 = journal->DigestOf(entry);
                wanted = entry.md5.empty();
                summary.resumed += wanted ? 0 : 1;
            }
            toRead = AddSizes(toRead, wanted ? entry.size : 0);
            digests.Add(std::move(entry), wanted, wanted ? addRead : addListed);
        }
        if (options.digest) {
            progress.Expect(toRead);
        }
        digests.Finish();
        seconds = progress.Seconds();
    }
    // After the walk, which so meets the document before this one, if any.
    const unsigned long size = document.Save(options.document, key);
    if (journal) {
        journal->Remove();
    }
    lock.reset();  // Not for as long as the summary waits for a reader.
    Print(summary.Text(options, size, seconds));
    return kDone;
}

}  // namespace Inventory
