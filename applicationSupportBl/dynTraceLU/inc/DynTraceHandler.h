// DynTraceHandler: the registry of trace objects made at run time.
//
// One registry per Linux process. A name is registered with the trace service once;
// further registrations of the same name share the object and count users. An
// object owned by a process that has ended is taken over by the next registration.
// The registry is the one place in the load module that takes a lock: trace objects
// are registered from every process of the module.
#ifndef DYN_TRACE_HANDLER_H
#define DYN_TRACE_HANDLER_H

#include "traceAndError.h"
#include "ose.h"
#include "TraceRegistry.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

// The registry itself is an applsupp::TraceRegistry, shared with TraceBackend; its
// own trace object is of the group "DynTraceLU".
class DynTraceHandler {
  public:
    // ownerProcess, name, userCount, traceRef.
    using TraceEntry = applsupp::TraceEntry;

    /// Registers (or shares) the object of that name and returns it.
    static TraceObject* registerTraceObject(const std::string& name);
    /// Takes one user from the object; the last user frees it with the service.
    static void deregisterTraceObject(TraceObject* reference);
    /// The object of that name, or the dummy object when it is not registered.
    static TraceObject* getTraceObjectRef(const std::string& name);
    /// Names of all registered objects, in name order.
    static std::vector<std::string> getRegisteredTraceObjectNames();
    /// One "{ trace Object name = ..." entry per object.
    static std::string toString();
    /// The entry of that name; an entry without traceRef when there is none.
    static TraceEntry getTraceEntry(const std::string& name);
    /// Prefix and suffix of every name registered afterwards through TraceHandle.
    static void setTraceObjectPrefix(const std::string& prefix);
    static void setTraceObjectSuffix(const std::string& suffix);
    static std::string getTraceObjectPrefix();
    static std::string getTraceObjectSuffix();
    /// prefix + group + suffix.
    static std::string traceObjectName(const std::string& group);
};

#endif  // DYN_TRACE_HANDLER_H
