// ThreadPool, from Bases/ThreadPool.h.

#include "Bases/ThreadPool.h"

#include <atomic>
#include <utility>

#include "Bases/Impl/CancellationDisabled.h"
#include "Bases/Impl/Timeouts.h"

namespace Novu {

namespace {

const unsigned int kLookForStop = 100;  // Milliseconds.

// What stands behind the list of a pool.
struct TaskList : std::list<boost::function<void()>> {
    // The posts that have appended a task and have yet to set the event. By
    // then the task may have run, and the owner may have heard of it.
    std::atomic<unsigned int> wakers = 0;
};

TaskList& Whole(std::list<boost::function<void()>>& tasks) {
    return static_cast<TaskList&>(tasks);
}

}  // namespace

// Lifetime

ThreadTaskPool::ThreadTaskPool() : tasks(nullptr) {
    taskEvent.Create(1, 0, nullptr);
    tasks = new TaskList;
}

ThreadTaskPool::~ThreadTaskPool() {
    {
        const CancellationDisabled disabled;
        ThreadTaskPool::StopThread(kNoLimit, 1);
        while (Whole(*tasks).wakers != 0) {
            SleepThread(1);  // Not a yield: the other may have less priority.
        }
    }
    delete &Whole(*tasks);
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
    Tasks posted;
    posted.push_back(std::move(task));

    std::atomic<unsigned int>& wakers = Whole(*tasks).wakers;
    {
        const CsLocker locker(lock);
        // While tasks wait the event is usually set, and to look is cheaper
        // than to set it again. It is unset only under the lock, with an empty
        // list.
        const bool isSet = !tasks->empty() && taskEvent.Wait(0) == 1;
        tasks->splice(tasks->end(), posted);
        if (isSet) {
            return;
        }
        ++wakers;
    }
    // The worker wants the lock as soon as it wakes.
    taskEvent.Set();
    --wakers;
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
