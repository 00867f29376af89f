// Test bodies that run as kernel processes, under a time limit.
//
//   runAsKernelProcess(std::chrono::seconds(20), "loadModule", [&] { ... });
//
// The body runs on a thread of its own that is made a kernel process of that name; a
// body that hangs ends the test program with a message instead of stalling it.
#ifndef HOSTDB_TEST_TIME_LIMIT_H
#define HOSTDB_TEST_TIME_LIMIT_H

#include "oseHost.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <string>
#include <thread>

namespace hostdbtest {

inline void runAsKernelProcess(std::chrono::seconds limit, const std::string& name,
                               std::function<void()> body) {
    std::packaged_task<void()> task([&name, &body] {
        ose_adopt_thread(name.c_str());
        body();
        ose_leave_thread();
    });
    std::future<void> done = task.get_future();
    std::thread runner(std::move(task));
    if (done.wait_for(limit) != std::future_status::ready) {
        std::fprintf(stderr, "FAILED: \"%s\" did not finish within %lld s\n", name.c_str(),
                     static_cast<long long>(limit.count()));
        std::fflush(stderr);
        std::abort();
    }
    runner.join();
    done.get();
}

}  // namespace hostdbtest

#endif  // HOSTDB_TEST_TIME_LIMIT_H
