#include "ClientRoutine.h"

#include "tarvo_poly_handler.h"

#include <atomic>

namespace hostdb {

namespace {

// Written by the agent's process, read by every process that connects.
std::atomic<std::uintptr_t> g_routine{0};

TarvoPolyHandlerFn routine() {
    return reinterpret_cast<TarvoPolyHandlerFn>(g_routine.load(std::memory_order_acquire));
}

}  // namespace

void setClientRoutine(std::uintptr_t address) {
    g_routine.store(address, std::memory_order_release);
}

void notifyClientReady() {
    if (const TarvoPolyHandlerFn fn = routine())
        fn(kTarvoPolyReady, 0, nullptr, 0, 0, 0);
}

void notifyClientLogLine(int32_t severity, const char* text) {
    if (const TarvoPolyHandlerFn fn = routine())
        fn(kTarvoPolyLogLine, severity, text, 0, 0, 0);
}

}  // namespace hostdb
