// Digests: the MD5 digests of files, computed while the walk goes on.

#ifndef INVENTORY_DIGESTS_H_
#define INVENTORY_DIGESTS_H_

#include <Bases/ThreadPool.h>
#include <Bases/ThreadSync.h>

#include <atomic>
#include <deque>
#include <exception>
#include <functional>
#include <string>
#include <utility>

#include "Entry.h"

namespace Inventory {

/// Hands entries on in the order in which they came, each once it has its
/// digest. The files are read on a thread of its own, which begins with the
/// first that is wanted; all else is done on the caller's. The entries that
/// wait are bounded, so that memory is, however large a tree is.
class Digests {
public:
    using Action = std::function<void(const Entry& entry)>;
    using Tick = std::function<void(unsigned long long bytes)>;

    /// Of files below `folder`. Calls `tick` now and then while it waits, with
    /// how many bytes of the file have been read that is being read.
    Digests(const std::string& folder, Tick tick);
    Digests(const Digests&) = delete;
    Digests& operator=(const Digests&) = delete;

    /// Gives up what still waits. A file that is being read is left between two
    /// pieces of it.
    ~Digests();

    /// Calls `action` with `entry`, now or in a later call; first for those
    /// that came before it. Where the digest of a file is wanted, `entry` then
    /// has it as `md5`; or `problem` says why not: the file cannot be read, or
    /// is no longer as listed. Waits where too many wait. Throws
    /// Failure when there is no thread, or the program is interrupted.
    void Add(Entry entry, bool wanted, Action action);

    /// Waits for all that was added. Throws as `Add` does.
    void Finish();

private:
    struct Waiting {
        Waiting(Entry added, Action next, bool isDone)
            : entry(std::move(added)), action(std::move(next)), done(isDone) {}

        Entry entry;
        Action action;
        std::exception_ptr failure;
        std::atomic<bool> done;  // The thread no longer uses it.
    };

    void Start();
    void Compute(Waiting& file);
    void HandOnFirst();

    std::string root;             // Ends in "/".
    std::deque<Waiting> waiting;  // In the order of coming.
    Tick whileWaiting;
    std::atomic<unsigned long long> bytesRead{0};  // Of the current file.
    std::atomic<bool> abandoned{false};
    Novu::Event oneIsDone;
    Novu::ThreadTaskPool pool;
};

}  // namespace Inventory

#endif  // INVENTORY_DIGESTS_H_
