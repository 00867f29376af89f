// runWithTimeLimit: a threaded test's body on a thread of its own, under a limit.
// A body that hangs ends the test program with a message instead of stalling it.
#ifndef TIME_LIMIT_H
#define TIME_LIMIT_H

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <thread>

template <class Body>
void runWithTimeLimit(std::chrono::seconds limit, Body body) {
    std::packaged_task<void()> task(body);
    std::future<void> done = task.get_future();
    std::thread runner(std::move(task));
    if (done.wait_for(limit) != std::future_status::ready) {
        std::fprintf(stderr, "FAILED: the test did not finish within %lld s\n",
                     static_cast<long long>(limit.count()));
        std::fflush(stderr);
        std::abort();
    }
    runner.join();
    done.get();
}

#endif  // TIME_LIMIT_H
