// The service process: publishes its name, then answers read requests one by one.
#include "AttrReadTable.h"
#include "DynTraceHandler.h"
#include "attrReadService.h"
#include "dynTrace.h"
#include "imaSignals.h"
#include "nameServerHost.h"

#include <cstring>
#include <memory>

namespace hostima {

namespace {

constexpr OSADDRESS kStackSize = 16384;
constexpr OSPRIORITY kPriority = 12;
// The configuration is handed to the new process through its environment.
constexpr const char* kConfigKey = "attrReadConfig";

// Answers one request; the buffer stays the caller's.
void answer(const AttrReadTable& table, const TraceObject* trace, union SIGNAL* request) {
    const PROCESS from = sender(&request);
    const OSBUFSIZE size = sigsize(&request);
    uint32_t clientRef = 0;
    if (!ima::readClientRef(request, size, clientRef)) {
        TRACE(trace, 1, "OMF_MAO_IMA_NC_READ_REQ of %u bytes from 0x%x has no clientRef: dropped",
              size, from);
        return;
    }
    std::string text;
    std::string reply;
    if (ima::readText(request, size, text)) {
        reply = table.answer(text);
    } else {
        TRACE(trace, 1, "OMF_MAO_IMA_NC_READ_REQ of %u bytes from 0x%x, clientRef=%u: no text",
              size, from, clientRef);
        reply = AttrReadTable::malformed();
    }
    TRACE(trace, 8, "OMF_MAO_IMA_NC_READ_REQ from 0x%x, clientRef=%u answered", from, clientRef);
    union SIGNAL* cfm = ima::makeSignal(OMF_MAO_IMA_NC_READ_CFM, clientRef, reply);
    send(&cfm, from);
}

// The service's trace object, given back when the process ends or is killed.
struct TraceRegistration {
    TraceObject* object = DynTraceHandler::registerTraceObject("attrRead");
    ~TraceRegistration() { DynTraceHandler::deregisterTraceObject(object); }
};

OS_PROCESS(attrReadMain) {
    static const SIGSELECT anySignal[] = {0};
    std::unique_ptr<AttrReadConfig> config(
        reinterpret_cast<AttrReadConfig*>(get_envp(current_process(), kConfigKey)));
    const AttrReadTable table(config->attributes);
    config.reset();
    const TraceRegistration registration;
    const TraceObject* trace = registration.object;
    if (!hostns::publishService(ima::kServiceName)) {
        TRACE(trace, 1, "%s could not be published", ima::kServiceName);
    }
    for (;;) {
        union SIGNAL* signal = receive(anySignal);
        if (signal == nullptr)
            continue;  // killed while about to wait: the next kernel call unwinds
        SIGSELECT number = 0;
        std::memcpy(&number, signal, sizeof number);
        if (number == OMF_MAO_IMA_NC_READ_REQ) {
            answer(table, trace, signal);
        } else {
            TRACE(trace, 1, "unknown signal 0x%x (%u bytes) from 0x%x dropped", number,
                  sigsize(&signal), sender(&signal));
        }
        free_buf(&signal);
    }
}

}  // namespace

std::vector<MoAttribute> nodeAttributes(const std::string& networkDn) {
    std::vector<MoAttribute> attributes;
    for (const char* ldn : {"ManagedElement=1", "ManagedElement=1,EquipmentSupportFunction=1"}) {
        const std::string full = networkDn.empty() ? ldn : networkDn + "," + ldn;
        attributes.push_back({ldn, "fullDistinguishedName", full});
    }
    return attributes;
}

PROCESS startAttrReadService(const AttrReadConfig& config) {
    PROCESS running = 0;
    if (hunt(ima::kServiceName, 0, &running, nullptr)) {
        return running;
    }
    const PROCESS pid = create_process(OS_PRI_PROC, ima::kServiceName, attrReadMain, kStackSize,
                                       kPriority, 0, 0, nullptr, 0, 0);
    // The process owns the copy from its first step on.
    set_envp(pid, kConfigKey, reinterpret_cast<OSADDRESS>(new AttrReadConfig(config)));
    start(pid);
    return pid;
}

void stopAttrReadService(PROCESS service) {
    kill_proc(service);
}

}  // namespace hostima
