// ThreadPool, from Bases/ThreadPool.h.

#include "Bases/ThreadPool.h"

#include "Bases/Impl/CancellationDisabled.h"
#include "Bases/Impl/Timeouts.h"

namespace Novu {

namespace {

const unsigned int kLookForStop = 100;  // Milliseconds.

}  // namespace

// Lifetime

ThreadTaskPool::ThreadTaskPool() : tasks(nullptr) {
    taskEvent.Create(1, 0, nullptr);
    tasks = new Tasks;
}

ThreadTaskPool::~ThreadTaskPool() {
    {
        const CancellationDisabled disabled;
        ThreadTaskPool::StopThread(kNoLimit, 1);
    }
    delete tasks;
}

void ThreadTaskPool::StopThread(unsigned int timeout, int force) {
    if (IsThreadRunning() != 0) {
        // Woken, an idle worker sees the request at once.
        StopThreadEvent();
        taskEvent.Set();
    }
    Thread::StopThread(timeout, force);

    const CancellationDisabled disabled;  // As in OnThreadEntry.
    Tasks dropped;  // Released without the lock: what a task holds may post.
    const CsLocker locker(lock);
    dropped.swap(*tasks);
}

// Tasks

void ThreadTaskPool::Post(boost::function<void()> task) {
    // The one allocation, before the lock.
    Tasks posted(1);
    posted.front().swap(task);

    const CsLocker locker(lock);
    tasks->splice(tasks->end(), posted);
    taskEvent.Set();
}

int ThreadTaskPool::OnThreadEntry() {
    while (IsStopThread(0) == 0) {
        if (taskEvent.Wait(kLookForStop) == 0) {
            continue;
        }
        Tasks next;  // One, released after it has run.
        {
            const CsLocker locker(lock);
            if (tasks->empty()) {
                taskEvent.Reset();
                continue;
            }
            next.splice(next.begin(), *tasks, tasks->begin());
        }
        next.front()();
        // A forced stop does not come between the destructors of a task.
        const CancellationDisabled disabled;
        next.clear();
    }
    return 0;
}

}  // namespace Novu
