// ThreadPool: tasks that run one after the other on another thread.

#include <Bases/ThreadPool.h>

#include <exception>
#include <iostream>

int main() {
    Novu::Event done;
    if (done.Create(1, 0, nullptr) != 1) {
        return 1;
    }

    Novu::ThreadTaskPool pool;
    if (pool.StartThread(0) != 1) {
        return 1;
    }
    for (int i = 1; i <= 3; ++i) {
        pool.Post([i] {
            try {  // What leaves a task ends the process.
                std::cout << "task " << i << '\n';
            } catch (const std::exception&) {
                std::cerr << "task " << i << " failed\n";
            }
        });
    }

    // A stop drops the tasks that wait: the last one says when it is time.
    pool.Post([&done] { done.Set(); });
    const bool finished = done.Wait(30000) == 1;
    pool.StopThread(0xFFFFFFFF, 0);
    return finished ? 0 : 1;
}

// Prints:
//   task 1
//   task 2
//   task 3
