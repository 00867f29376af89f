#include "TraceBackend.h"

namespace {

applsupp::TraceRegistry& registry() {
    // Never destroyed: objects with a trace member may outlive every other static.
    static applsupp::TraceRegistry* const instance = new applsupp::TraceRegistry("TraceBackendLU");
    return *instance;
}

}  // namespace

TraceObject* TraceBackend::registerTraceObject(const std::string& name) {
    return registry().registerTraceObject(name);
}

void TraceBackend::deregisterTraceObject(TraceObject* reference) {
    registry().deregisterTraceObject(reference);
}

TraceObject* TraceBackend::getTraceObjectRef(const std::string& name) {
    return registry().getTraceObjectRef(name);
}

std::vector<std::string> TraceBackend::getRegisteredTraceObjectNames() {
    return registry().getRegisteredTraceObjectNames();
}

std::string TraceBackend::toString() {
    return registry().toString();
}

TraceBackend::TraceEntry TraceBackend::getTraceEntry(const std::string& name) {
    return registry().getTraceEntry(name);
}

void TraceBackend::setTraceObjectPrefix(const std::string& prefix) {
    registry().setTraceObjectPrefix(prefix);
}

void TraceBackend::setTraceObjectSuffix(const std::string& suffix) {
    registry().setTraceObjectSuffix(suffix);
}

std::string TraceBackend::getTraceObjectPrefix() {
    return registry().getTraceObjectPrefix();
}

std::string TraceBackend::getTraceObjectSuffix() {
    return registry().getTraceObjectSuffix();
}

std::string TraceBackend::traceObjectName(const std::string& group) {
    return registry().traceObjectName(group);
}

TraceBackendHandle::TraceBackendHandle(const char* group)
    : m_ref(TraceBackend::registerTraceObject(
          TraceBackend::traceObjectName(group != nullptr ? group : ""))) {}

TraceBackendHandle::~TraceBackendHandle() {
    TraceBackend::deregisterTraceObject(m_ref);
}
