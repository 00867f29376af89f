// The host functions of traceHost.h, over the one TraceService of the process.
#include "traceHost.h"

#include "TraceService.h"

int traceConfigure(const std::string& rules) {
    return TraceService::instance().configure(rules);
}

int traceSetMask(const std::string& pattern, uint32_t mask) {
    return TraceService::instance().setMask(pattern, mask);
}

std::vector<TraceObjectInfo> traceGetObjects() {
    return TraceService::instance().objects();
}

void traceSetSink(std::function<void(const std::string&)> sink) {
    TraceService::instance().ensureSetup();
    TraceService::instance().output().setSink(std::move(sink));
}

bool traceSetOutputFile(const std::string& path) {
    TraceService::instance().ensureSetup();
    return TraceService::instance().output().setFile(path);
}
