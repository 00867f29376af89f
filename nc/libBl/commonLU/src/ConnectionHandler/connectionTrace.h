// connectionTrace.h: the trace object of the procedure-reference tree.
//
// The nodes of the tree carry no trace member of their own; they trace through
// the object that ConnectionHandler registered as "ncConnectionHandler", or the
// dummy object when no handler exists.
#ifndef CONNECTION_TRACE_H
#define CONNECTION_TRACE_H

#include "DynTraceHandler.h"

#include <cstdint>

inline const TraceObject* connectionTraceObject() {
    return DynTraceHandler::getTraceObjectRef(
        DynTraceHandler::traceObjectName("ncConnectionHandler"));
}

// Addresses are 32 bits on the target; dumps show the host's address in full,
// at least eight digits as the target's texts do.
inline unsigned long long addressOf(const void* pointer) {
    return static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(pointer));
}

#endif  // CONNECTION_TRACE_H
