#include "processError.h"

#include "dynTrace.h"

#include <atomic>

namespace nc {

namespace {

std::atomic<uint32_t> errorCount{0};

// Per thread, so that reports of different kernel processes need no lock.
thread_local std::string lastText;

}  // namespace

void reportProcessError(const TraceObject* trace, const std::string& text) {
    errorCount.fetch_add(1, std::memory_order_relaxed);
    lastText = text;
    TRACE(trace, 0, "Process error: %s", text.c_str());
}

uint32_t processErrorCount() {
    return errorCount.load(std::memory_order_relaxed);
}

std::string lastProcessError() {
    return lastText;
}

}  // namespace nc
