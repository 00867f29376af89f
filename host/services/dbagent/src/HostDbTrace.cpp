#include "HostDbTrace.h"

#include "DynTraceHandler.h"

namespace hostdb {

// Registered once per Linux process and never given back: the call table's functions
// trace from whichever process calls them, for as long as the program runs.
TraceObject* agentTrace() {
    static TraceObject* const object = DynTraceHandler::registerTraceObject("HostDbAgent");
    return object;
}

TraceObject* databaseTrace() {
    static TraceObject* const object = DynTraceHandler::registerTraceObject("HostDatabase");
    return object;
}

TraceObject* transactionTrace() {
    static TraceObject* const object = DynTraceHandler::registerTraceObject("HostTransaction");
    return object;
}

}  // namespace hostdb
