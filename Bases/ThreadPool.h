// ThreadPool: one worker thread that runs tasks in the order of their posting.
//
// Errors   None are reported.
// Threads  Any may post. The rest is the owner's, as with every Thread.
// See      docs/surprises.md, "Task pool", for what is By design.
//
// By design [threadpool-1]: there is one worker, however many tasks wait.

#ifndef NOVU_BASES_THREADPOOL_H_
#define NOVU_BASES_THREADPOOL_H_

#include <boost/function.hpp>
#include <list>

#include "Bases/Export.h"
#include "Bases/Thread.h"
#include "Bases/ThreadSync.h"

namespace Novu {

/// The worker is started by `StartThread`, and may be started again after it
/// was stopped. Tasks that are posted while it does not run wait for it.
///
/// Example (examples/ThreadPool.cpp):
///
///     // A stop drops the tasks that wait: the last one says when it is time.
///     pool.Post([&done] { done.Set(); });
///     const bool finished = done.Wait(30000) == 1;
///     pool.StopThread(0xFFFFFFFF, 0);
class NOVU_API ThreadTaskPool : public Thread {
public:
    ThreadTaskPool();  ///< Without tasks; the worker does not run.

    /// As `StopThread(0xFFFFFFFF, 1)`. A class that derives from this one stops
    /// the worker in its own destructor, before its members are gone.
    ~ThreadTaskPool() override;

    /// Stops the worker as `Thread::StopThread` does. The task that is running
    /// is finished, unless it is forced to end.
    /// By design [threadpool-2]: tasks that still wait are dropped, also where
    /// the worker did not stop in time (it ends after its task then, and counts
    /// as running until the next stop), does not run, or is started again.
    void StopThread(unsigned int timeout, int force) override;

    /// The worker: until a stop is asked for, runs tasks. Without one it wakes
    /// every 100 milliseconds, to look for a stop.
    int OnThreadEntry() override;

    /// Appends a task, which may have run when this returns.
    /// By design [threadpool-3]: one that throws, as an empty one does
    /// (`boost::bad_function_call`), ends the process when its turn comes.
    void Post(boost::function<void()> task);

private:
    typedef std::list<boost::function<void()>> Tasks;

    Tasks* tasks;  // Owned; the first to run at the front. Under lock.
    Cs lock;
    Event taskEvent;  // Set while there may be tasks. Manual reset.
};

}  // namespace Novu

#endif  // NOVU_BASES_THREADPOOL_H_
