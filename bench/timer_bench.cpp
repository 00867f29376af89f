// timer_bench: what the timers cost the main loop.
//
//   maptimer_start_cancel_us  median time to start and cancel one MapTimer timer while
//                             10,000 others of 10,000 observers are active (goal <= 5);
//                             the bare kernel time-out request and cancel is shown beside it
//   timer_lateness_p99_ms     p99 of how late a 10 ms timer's expiry reaches its observer
//                             in the main loop (goal <= 2); a bare condition-variable wait
//                             of 10 ms, interleaved, is shown beside it
// A run in which all 10,000 timers expire checks that no expiry is lost or doubled;
// the program exits with 1 if one is.
#include "MapTimer.h"
#include "MapTimerObserver.h"
#include "SignalDistributorAPI.h"
#include "TimerApi.h"
#include "oseHost.h"
#include "plab/messaging/MessagingHandlerOse.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kActive = 10000;
constexpr uint32_t kLong = 3600000;  // never expires during the run

double microseconds(Clock::duration d) {
    return std::chrono::duration<double, std::micro>(d).count();
}

double percentile(std::vector<double> values, double p) {
    std::sort(values.begin(), values.end());
    const std::size_t index =
        std::min(values.size() - 1, static_cast<std::size_t>(p * values.size()));
    return values[index];
}

struct Counter : MapTimerObserver {
    void timeout(uint32_t) override { ++expiries; }
    unsigned expiries = 0;
};

struct LatenessProbe : MapTimerObserver {
    void timeout(uint32_t) override {
        lateness.push_back(microseconds(Clock::now() - due) / 1000.0);
        fired = true;
    }
    Clock::time_point due;
    bool fired = false;
    std::vector<double> lateness;
};

// The main loop: one received signal through the signal distributor.
bool dispatchOne(plab::messaging::MessagingHandlerOse& messaging, int32_t timeoutMs) {
    auto message = messaging.receive({}, timeoutMs);
    if (!message)
        return false;
    getSignalDistributorAPI()->handleMessage(message);
    return true;
}

void startCancel(MapTimer& timers) {
    std::vector<Counter> observers(kActive);
    for (Counter& observer : observers)
        timers.requestTmo(&observer, kLong, 1, "ManagedElement=1,Equipment=1");
    std::vector<double> mapTimer, kernel;
    for (std::size_t i = 0; i < 20000; ++i) {
        Counter& observer = observers[(i * 7919) % kActive];
        const auto start = Clock::now();
        timers.requestTmo(&observer, kLong, 2, "ManagedElement=1,Equipment=1");
        timers.cancelTmo(&observer, 2);
        mapTimer.push_back(microseconds(Clock::now() - start));

        const auto bareStart = Clock::now();
        union SIGNAL* signal = alloc(8, 0x1630C00);
        OSTMOREF reference = request_tmo_sig(kLong, &signal);
        union SIGNAL* back = cancel_tmo_sig(&reference);
        free_buf(&back);
        kernel.push_back(microseconds(Clock::now() - bareStart));
    }
    for (Counter& observer : observers)
        timers.cancelAllTmo(&observer);
    std::printf("start+cancel with %zu active: median %.2f us, p90 %.2f us, p99 %.2f us\n", kActive,
                percentile(mapTimer, 0.5), percentile(mapTimer, 0.9), percentile(mapTimer, 0.99));
    std::printf("bare kernel request_tmo_sig+cancel_tmo_sig: median %.2f us\n",
                percentile(kernel, 0.5));
    std::printf("figure maptimer_start_cancel_us %.2f\n", percentile(mapTimer, 0.5));
}

bool allExpireOnce(MapTimer& timers, plab::messaging::MessagingHandlerOse& messaging) {
    std::vector<Counter> observers(kActive);
    for (std::size_t i = 0; i < kActive; ++i)
        timers.requestTmo(&observers[i], static_cast<uint32_t>(20 + i % 500), 1, "x");
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    std::size_t seen = 0;
    while (seen < kActive && Clock::now() < deadline) {
        dispatchOne(messaging, 100);
        seen = 0;
        for (const Counter& observer : observers)
            seen += observer.expiries != 0 ? 1 : 0;
    }
    while (dispatchOne(messaging, 200)) {
    }
    std::size_t lost = 0, doubled = 0;
    for (const Counter& observer : observers) {
        lost += observer.expiries == 0 ? 1 : 0;
        doubled += observer.expiries > 1 ? 1 : 0;
    }
    std::printf("expiry run of %zu timers: lost %zu, doubled %zu, left active %zu\n", kActive, lost,
                doubled, timers.numberOfTimers());
    return lost == 0 && doubled == 0;
}

void lateness(MapTimer& timers, plab::messaging::MessagingHandlerOse& messaging) {
    LatenessProbe probe;
    std::vector<double> bare;
    std::mutex mutex;
    std::condition_variable never;
    for (int i = 0; i < 300; ++i) {
        probe.fired = false;
        probe.due = Clock::now() + std::chrono::milliseconds(10);
        timers.requestTmo(&probe, 10, 1, "x");
        while (!probe.fired)
            dispatchOne(messaging, 1000);

        std::unique_lock<std::mutex> lock(mutex);
        const auto due = Clock::now() + std::chrono::milliseconds(10);
        never.wait_until(lock, due, [] { return false; });
        bare.push_back(microseconds(Clock::now() - due) / 1000.0);
    }
    std::printf("10 ms timer lateness in the main loop: median %.3f ms, p99 %.3f ms, max %.3f ms\n",
                percentile(probe.lateness, 0.5), percentile(probe.lateness, 0.99),
                percentile(probe.lateness, 1.0));
    std::printf("bare condition-variable wait of 10 ms: median %.3f ms, p99 %.3f ms\n",
                percentile(bare, 0.5), percentile(bare, 0.99));
    std::printf("figure timer_lateness_p99_ms %.3f\n", percentile(probe.lateness, 0.99));
}

}  // namespace

int main() {
    ose_adopt_thread("benchMain");
    plab::messaging::MessagingHandlerOse messaging;
    getTimerApi()->startinitialize();
    MapTimer& timers = *MapTimer::getInstance();
    startCancel(timers);
    const bool exact = allExpireOnce(timers, messaging);
    lateness(timers, messaging);
    MapTimer::destroyInstance();
    destroyTimerApi();
    destroySignalDistributorAPI();
    ose_leave_thread();
    ose_shutdown();
    return exact ? 0 : 1;
}
