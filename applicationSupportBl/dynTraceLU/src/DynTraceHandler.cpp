#include "DynTraceHandler.h"

namespace {

applsupp::TraceRegistry& registry() {
    // Never destroyed: objects with a trace member may outlive every other static.
    static applsupp::TraceRegistry* const instance = new applsupp::TraceRegistry("DynTraceLU");
    return *instance;
}

}  // namespace

TraceObject* DynTraceHandler::registerTraceObject(const std::string& name) {
    return registry().registerTraceObject(name);
}

void DynTraceHandler::deregisterTraceObject(TraceObject* reference) {
    registry().deregisterTraceObject(reference);
}

TraceObject* DynTraceHandler::getTraceObjectRef(const std::string& name) {
    return registry().getTraceObjectRef(name);
}

std::vector<std::string> DynTraceHandler::getRegisteredTraceObjectNames() {
    return registry().getRegisteredTraceObjectNames();
}

std::string DynTraceHandler::toString() {
    return registry().toString();
}

DynTraceHandler::TraceEntry DynTraceHandler::getTraceEntry(const std::string& name) {
    return registry().getTraceEntry(name);
}

void DynTraceHandler::setTraceObjectPrefix(const std::string& prefix) {
    registry().setTraceObjectPrefix(prefix);
}

void DynTraceHandler::setTraceObjectSuffix(const std::string& suffix) {
    registry().setTraceObjectSuffix(suffix);
}

std::string DynTraceHandler::getTraceObjectPrefix() {
    return registry().getTraceObjectPrefix();
}

std::string DynTraceHandler::getTraceObjectSuffix() {
    return registry().getTraceObjectSuffix();
}

std::string DynTraceHandler::traceObjectName(const std::string& group) {
    return registry().traceObjectName(group);
}
