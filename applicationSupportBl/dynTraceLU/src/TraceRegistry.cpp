#include "TraceRegistry.h"

#include "dynTrace.h"

#include <cstdio>

namespace applsupp {

namespace {

// The service's object of that name, or null when the service refuses the name.
TraceObject* registerWithService(const char* name) {
    TraceRef reference{nullptr};
    TraceCall call{};
    call.ref = &reference;
    call.name = name;
    return traceAndErrorInit(TRACE_OP_REGISTER, &call) == 0 ? traceRefGet(reference) : nullptr;
}

TraceObject* ownTraceObject(const char* ownGroup) {
    TraceCall setup{};
    traceAndErrorInit(TRACE_OP_SETUP, &setup);
    TraceObject* object = registerWithService(ownGroup);
    return object != nullptr ? object : &traceDummyObject;
}

}  // namespace

TraceRegistry::TraceRegistry(const char* ownGroup) : m_trace(ownTraceObject(ownGroup)) {}

bool TraceRegistry::terminated(PROCESS pid) {
    if (pid == 0) {
        return false;  // registered outside any process: nothing can end
    }
    struct OS_pcb* pcb = get_pcb(pid);
    if (pcb == nullptr) {
        return true;  // the kernel knows no such process (its error handler returned)
    }
    const bool ended = (pcb->status & (OS_STATE_KILLED | OS_STATE_ENDED)) != 0;
    free_buf(reinterpret_cast<union SIGNAL**>(&pcb));
    return ended;
}

// The calling process, 0 for a thread that is no kernel process: objects are also
// registered from host threads and static constructors.
static PROCESS callingProcess() {
    TraceCall call{};
    traceAndErrorInit(TRACE_OP_CALLER, &call);
    return call.process;
}

TraceObject* TraceRegistry::registerTraceObject(const std::string& name) {
    std::lock_guard<std::mutex> lock(m_lock);
    const PROCESS self = callingProcess();
    auto it = m_entries.find(name);
    if (it == m_entries.end()) {
        TraceObject* reference = registerWithService(name.c_str());
        if (reference == nullptr) {
            TRACE(m_trace, 1, "Trace object name \"%s\" refused by the trace service",
                  name.c_str());
            return &traceDummyObject;
        }
        it = m_entries.emplace(name, TraceEntry{self, name, 0, reference}).first;
    } else if (it->second.ownerProcess != self && terminated(it->second.ownerProcess)) {
        TraceEntry& entry = it->second;
        TRACE(m_trace, 9,
              "Trace object \"%s\" was owned by a terminated process (0x%x)! Register a new "
              "trace object in this process (0x%x).",
              name.c_str(), entry.ownerProcess, self);
        TraceObject* reference = registerWithService(name.c_str());
        if (reference != nullptr) {
            entry.traceRef = reference;
        }
        entry.userCount = 0;
        entry.ownerProcess = self;
    }
    ++it->second.userCount;
    return it->second.traceRef;
}

void TraceRegistry::deregisterTraceObject(TraceObject* reference) {
    if (reference == nullptr || reference == &traceDummyObject) {
        return;  // a holder whose registration was refused, or never made
    }
    std::lock_guard<std::mutex> lock(m_lock);
    for (auto it = m_entries.begin(); it != m_entries.end(); ++it) {
        TraceEntry& entry = it->second;
        if (entry.traceRef != reference) {
            continue;
        }
        if (--entry.userCount == 0) {
            TraceRef freed{entry.traceRef};
            TraceCall call{};
            call.ref = &freed;
            traceAndErrorInit(TRACE_OP_FREE, &call);
            m_entries.erase(it);
        }
        return;
    }
    TRACE(m_trace, 1, "deregisterTraceObject: trace object %p is not registered",
          static_cast<const void*>(reference));
}

TraceObject* TraceRegistry::getTraceObjectRef(const std::string& name) {
    std::lock_guard<std::mutex> lock(m_lock);
    const auto it = m_entries.find(name);
    if (it == m_entries.end()) {
        TRACE(m_trace, 4, "Trace object name \"%s\" is not registered", name.c_str());
        return &traceDummyObject;
    }
    return it->second.traceRef;
}

std::vector<std::string> TraceRegistry::getRegisteredTraceObjectNames() const {
    std::lock_guard<std::mutex> lock(m_lock);
    std::vector<std::string> names;
    names.reserve(m_entries.size());
    for (const auto& entry : m_entries) {
        names.push_back(entry.first);
    }
    return names;
}

TraceEntry TraceRegistry::getTraceEntry(const std::string& name) const {
    std::lock_guard<std::mutex> lock(m_lock);
    const auto it = m_entries.find(name);
    return it != m_entries.end() ? it->second : TraceEntry{};
}

std::string TraceRegistry::toString() const {
    std::lock_guard<std::mutex> lock(m_lock);
    std::string text;
    for (const auto& item : m_entries) {
        const TraceEntry& entry = item.second;
        char reference[32];
        std::snprintf(reference, sizeof reference, "%p", static_cast<const void*>(entry.traceRef));
        char owner[16];
        std::snprintf(owner, sizeof owner, "%x", entry.ownerProcess);
        text += "{ trace Object name = \"" + entry.name +
                "\", user count = " + std::to_string(entry.userCount) +
                ", traceRef = " + reference + ", ownerProc = 0x" + owner + " }\n";
    }
    return text;
}

void TraceRegistry::setTraceObjectPrefix(const std::string& prefix) {
    std::lock_guard<std::mutex> lock(m_lock);
    m_prefix = prefix;
}

void TraceRegistry::setTraceObjectSuffix(const std::string& suffix) {
    std::lock_guard<std::mutex> lock(m_lock);
    m_suffix = suffix;
}

std::string TraceRegistry::getTraceObjectPrefix() const {
    std::lock_guard<std::mutex> lock(m_lock);
    return m_prefix;
}

std::string TraceRegistry::getTraceObjectSuffix() const {
    std::lock_guard<std::mutex> lock(m_lock);
    return m_suffix;
}

std::string TraceRegistry::traceObjectName(const std::string& group) const {
    std::lock_guard<std::mutex> lock(m_lock);
    return m_prefix + group + m_suffix;
}

}  // namespace applsupp
