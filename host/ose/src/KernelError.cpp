#include "KernelError.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace ose {
namespace {

void defaultHandler(const char* call, uint32_t code, const char* detail) {
    std::fprintf(stderr, "kernel error in %s (code 0x%x): %s\n", call, static_cast<unsigned>(code),
                 detail);
    std::fflush(stderr);
    std::abort();
}

std::atomic<OseErrorHandler> g_handler{&defaultHandler};

}  // namespace

void kernelError(const char* call, uint32_t code, const char* format, ...) {
    char detail[256];
    va_list args;
    va_start(args, format);
    std::vsnprintf(detail, sizeof detail, format, args);
    va_end(args);
    g_handler.load(std::memory_order_acquire)(call, code, detail);
}

bool fatalUserError(uint32_t code) {
    // Bit 31 marks a fatal error. A test's own handler sees every error.
    return (code & 0x80000000u) != 0 || g_handler.load(std::memory_order_acquire) != &defaultHandler;
}

void reportUserError(const char* call, const char* format, ...) {
    char detail[256];
    va_list args;
    va_start(args, format);
    std::vsnprintf(detail, sizeof detail, format, args);
    va_end(args);
    std::fprintf(stderr, "%s: %s (not fatal)\n", call, detail);
}

OseErrorHandler setErrorHandler(OseErrorHandler handler) {
    OseErrorHandler before = g_handler.exchange(handler != nullptr ? handler : &defaultHandler,
                                                std::memory_order_acq_rel);
    return before == &defaultHandler ? nullptr : before;
}

}  // namespace ose
