// TraceRegistry: a registry of trace objects made at run time.
//
// Both DynTraceHandler (the load module's application support) and TraceBackend
// (the platform abstraction) are one such registry each, with a group of their own
// for the registry's own traces. A name is registered with the trace service once;
// further registrations of the same name share the object and count users. The
// registry remembers the process that registered a name: if that process has ended,
// the next registration takes the object over and starts the count anew, since the
// dead owner's users will never deregister.
#ifndef TRACE_REGISTRY_H
#define TRACE_REGISTRY_H

#include "ose.h"
#include "traceAndError.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace applsupp {

/// One registered name.
struct TraceEntry {
    PROCESS ownerProcess = 0;
    std::string name;
    uint32_t userCount = 0;
    TraceObject* traceRef = nullptr;
};

class TraceRegistry {
  public:
    /// ownGroup names the registry's own trace object, registered at once.
    explicit TraceRegistry(const char* ownGroup);
    TraceRegistry(const TraceRegistry&) = delete;
    TraceRegistry& operator=(const TraceRegistry&) = delete;

    /// Registers (or shares) the object of that name and returns it; the dummy
    /// object when the service refuses the name.
    TraceObject* registerTraceObject(const std::string& name);
    /// Takes one user from the object; the last user frees it with the service.
    void deregisterTraceObject(TraceObject* reference);
    /// The object of that name, or the dummy object when it is not registered.
    TraceObject* getTraceObjectRef(const std::string& name);
    /// Names of all registered objects, in name order.
    std::vector<std::string> getRegisteredTraceObjectNames() const;
    /// The entry of that name; an entry without traceRef when there is none.
    TraceEntry getTraceEntry(const std::string& name) const;
    /// One "{ trace Object name = ..." line per entry.
    std::string toString() const;
    void setTraceObjectPrefix(const std::string& prefix);
    void setTraceObjectSuffix(const std::string& suffix);
    std::string getTraceObjectPrefix() const;
    std::string getTraceObjectSuffix() const;
    /// prefix + group + suffix.
    std::string traceObjectName(const std::string& group) const;

  private:
    /// Whether the kernel reports the process as killed or ended.
    static bool terminated(PROCESS pid);

    mutable std::mutex m_lock;  // guards every member below but m_trace
    std::map<std::string, TraceEntry> m_entries;
    std::string m_prefix;
    std::string m_suffix;
    TraceObject* m_trace;  // set in the constructor, read without the lock
};

}  // namespace applsupp

#endif  // TRACE_REGISTRY_H
