// TraceBackend: the registry of trace objects of the platform-abstraction layer.
//
// The same registry as DynTraceHandler (an applsupp::TraceRegistry), but a second,
// separate one: its own entries, prefix and suffix, and its own trace object of the
// group "TraceBackendLU". The name-server client registers "TvpIf" and
// "NameServerOseLU" here.
#ifndef TRACE_BACKEND_H
#define TRACE_BACKEND_H

#include "TraceRegistry.h"
#include "traceAndError.h"

#include <string>
#include <vector>

class TraceBackend {
  public:
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
    /// Prefix and suffix of every name registered afterwards through traceObjectName.
    static void setTraceObjectPrefix(const std::string& prefix);
    static void setTraceObjectSuffix(const std::string& suffix);
    static std::string getTraceObjectPrefix();
    static std::string getTraceObjectSuffix();
    /// prefix + group + suffix.
    static std::string traceObjectName(const std::string& group);
};

// A trace object of this registry held by a class, as TraceHandle is for
// DynTraceHandler: registered under prefix + group + suffix at construction,
// deregistered at destruction.
class TraceBackendHandle {
  public:
    explicit TraceBackendHandle(const char* group);
    ~TraceBackendHandle();
    TraceBackendHandle(const TraceBackendHandle&) = delete;
    TraceBackendHandle& operator=(const TraceBackendHandle&) = delete;

    /// The trace object; the dummy object when the registration was refused.
    TraceObject* get() const { return m_ref; }

  private:
    TraceObject* m_ref;
};

/// Lets TRACE(...) take a TraceBackendHandle as it takes a TraceHandle.
inline const TraceObject* traceObjectOf(const TraceBackendHandle& handle) {
    return handle.get();
}

#endif  // TRACE_BACKEND_H
