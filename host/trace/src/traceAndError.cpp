// The service's entry and its two global objects.
#include "traceAndError.h"

#include "TraceService.h"

namespace {
constexpr uint32_t kDummyMask = (1u << 0) | (1u << 1) | (1u << 4) | (1u << 20) | (1u << 21);
}

extern "C" {

// Constant-initialised, so that trace calls made by static constructors, before any
// registration, are safe.
TraceObject traceDummyObject = {kTraceObjectMagic, 0, 0, {kDummyMask}, "traceDummy"};

// The dummy object until a process attaches: its bit 21 lets group traces through.
TraceRef traceDefaultRef{&traceDummyObject};

int traceAndErrorInit(int operation, TraceCall* call) {
    return TraceService::instance().call(operation, call);
}

}  // extern "C"
