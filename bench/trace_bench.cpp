// trace_bench: what a TRACE(...) whose level is off costs, and that it allocates
// nothing. Both loops run interleaved in the same run; the figure is the difference
// of their medians per iteration. ClobberMemory() in both loops makes the compiler
// load the object pointer and its mask anew each time, as a member m_trace would be.
#include "dynTrace.h"
#include "traceHost.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <vector>

namespace {

std::atomic<long> g_allocations{0};

}  // namespace

// Every allocation of the program is counted.
void* operator new(std::size_t size) {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size == 0 ? 1 : size)) {
        return p;
    }
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete[](void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    std::free(p);
}

namespace {

constexpr long kIterations = 20000000;
constexpr int kRounds = 15;

TraceRef g_object{nullptr};  // read as a group reference is, with acquire order

double emptyLoop() {
    const auto start = std::chrono::steady_clock::now();
    for (long i = 0; i < kIterations; ++i) {
        benchmark::DoNotOptimize(i);
        benchmark::ClobberMemory();
    }
    const std::chrono::duration<double, std::nano> elapsed =
        std::chrono::steady_clock::now() - start;
    return elapsed.count() / kIterations;
}

double disabledTraceLoop() {
    const auto start = std::chrono::steady_clock::now();
    for (long i = 0; i < kIterations; ++i) {
        benchmark::DoNotOptimize(i);
        TRACE(g_object, 9, "Timer::start(timeOut=%ld)", i);
        benchmark::ClobberMemory();
    }
    const std::chrono::duration<double, std::nano> elapsed =
        std::chrono::steady_clock::now() - start;
    return elapsed.count() / kIterations;
}

double enabledTrace() {
    constexpr long kCalls = 20000;
    const auto start = std::chrono::steady_clock::now();
    for (long i = 0; i < kCalls; ++i) {
        TRACE(g_object, 2, "Timer::start(timeOut=%ld)", i);
    }
    const std::chrono::duration<double, std::nano> elapsed =
        std::chrono::steady_clock::now() - start;
    return elapsed.count() / kCalls;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

int main() {
    traceConfigure("benchTrace=0+1+2");
    TraceCall call{};
    call.ref = &g_object;
    call.name = "benchTrace";
    if (traceAndErrorInit(TRACE_OP_REGISTER, &call) != 0) {
        std::fprintf(stderr, "trace_bench: registration refused\n");
        return 1;
    }

    std::vector<double> empty;
    std::vector<double> disabled;
    empty.reserve(kRounds);
    disabled.reserve(kRounds);
    long allocations = 0;
    for (int round = 0; round < kRounds; ++round) {
        empty.push_back(emptyLoop());
        const long before = g_allocations.load();
        const double nanoseconds = disabledTraceLoop();
        allocations += g_allocations.load() - before;
        disabled.push_back(nanoseconds);
    }
    const double emptyNs = median(empty);
    const double disabledNs = median(disabled);

    traceSetSink([](const std::string&) {});
    std::vector<double> enabled;
    for (int round = 0; round < 5; ++round) {
        enabled.push_back(enabledTrace());
    }
    traceSetSink(nullptr);

    std::printf("figure trace_empty_loop_ns %.3f\n", emptyNs);
    std::printf("figure trace_disabled_loop_ns %.3f\n", disabledNs);
    std::printf("figure trace_disabled_ns %.3f\n", std::max(0.0, disabledNs - emptyNs));
    std::printf("figure trace_disabled_ratio %.3f\n", disabledNs / emptyNs);
    std::printf("figure trace_disabled_allocs %ld\n", allocations);
    std::printf("figure trace_enabled_to_sink_ns %.1f\n", median(enabled));
    return 0;
}
