#include "IndHandler.h"

#include "GenericAttribute.h"
#include "SignalDistributorAPI.h"
#include "indHandlerTrace.h"
#include "maoFroSignals.h"

#include <tinyxml.h>

#include <cstddef>
#include <cstring>
#include <map>
#include <vector>

namespace {

// The largest buffer the load module's pools give out. A longer indication (its XML
// is never zipped) cannot be sent at all.
constexpr OSBUFSIZE kLargestSignal = 65535;

IndHandler* theInstance = nullptr;

// The interface versions in use; the instance lives while one is.
std::map<uint32_t, bool>& versionsInUse() {
    static std::map<uint32_t, bool> versions;
    return versions;
}

// ---- The XML of an indication --------------------------------------------------------

TiXmlElement* addElement(TiXmlNode& parent, const char* tag) {
    auto* element = new TiXmlElement(tag);
    parent.LinkEndChild(element);
    return element;
}

// An attr element; the elements of an array have no name.
void addAttr(TiXmlElement& parent, const char* name, const char* type, const std::string& value) {
    TiXmlElement* attr = addElement(parent, "attr");
    if (name != nullptr) {
        attr->SetAttribute("name", name);
    }
    attr->SetAttribute("type", type);
    attr->SetAttribute("value", value);
}

// The declaration, mim and class; returns class, where the content goes.
TiXmlElement& startDocument(TiXmlDocument& doc, const std::string& version,
                            const std::string& ldn) {
    doc.LinkEndChild(new TiXmlDeclaration("1.0", "UTF-8", ""));
    TiXmlElement* mim = addElement(doc, "mim");
    mim->SetAttribute("version", version);
    TiXmlElement* classElement = addElement(*mim, "class");
    classElement->SetAttribute("ldn", ldn);
    return *classElement;
}

std::string printDocument(const TiXmlDocument& doc) {
    TiXmlPrinter printer;
    printer.SetIndent(" ");
    doc.Accept(&printer);
    return printer.Str();
}

// ---- The signals ---------------------------------------------------------------------

// Where the three indications differ: the words between the number and the XML
// attribute, and the allocated size for an XML field of L bytes.
struct IndicationForm {
    SIGSELECT sigNo;
    const char* name;
    OSBUFSIZE (*size)(uint32_t l);
};

constexpr IndicationForm kFaultInd{maofro::MAO_FRO_FAULT_IND, "MAO_FRO_FAULT_IND",
                                   maofro::faultIndSize};
constexpr IndicationForm kFaultCeasedInd{maofro::MAO_FRO_FAULT_CEASED_IND,
                                         "MAO_FRO_FAULT_CEASED_IND", maofro::faultCeasedIndSize};
constexpr IndicationForm kParameterChdInd{maofro::MAO_FRO_PARAMETER_CHD_IND,
                                          "MAO_FRO_PARAMETER_CHD_IND", maofro::parameterChdIndSize};

// Allocates the indication with the head words behind its number, the XML as its one
// attribute (21, string) NUL-padded to L bytes, traces it and sends it to pid.
void sendIndication(const IndicationForm& form, const std::vector<uint32_t>& head,
                    const std::string& xml, uint32_t pid, const TraceObject* signalTrace,
                    const TraceObject* trace) {
    const uint32_t l = maofro::stringAttrValue(xml.size());
    const std::size_t attrOffset = sizeof(SIGSELECT) + head.size() * sizeof(uint32_t);
    const std::size_t dataOffset = attrOffset + maofro::kAttrDataOffset;
    const std::size_t size = form.size(l);
    if (xml.size() >= kLargestSignal || size > kLargestSignal) {
        TRACE(trace, 1, "%s of %zu bytes to 0x%x is larger than a signal can be, not sent",
              form.name, size, pid);
        return;
    }
    union SIGNAL* sig = alloc(static_cast<OSBUFSIZE>(size), form.sigNo);
    if (sig == NIL) {
        TRACE(trace, 1, "%s of %zu bytes to 0x%x could not be allocated", form.name, size, pid);
        return;
    }
    auto* bytes = reinterpret_cast<unsigned char*>(sig);
    std::memset(bytes + sizeof(SIGSELECT), 0, size - sizeof(SIGSELECT));
    std::memcpy(bytes + sizeof(SIGSELECT), head.data(), head.size() * sizeof(uint32_t));
    const maofro::MaoFroAttrHead attr{maofro::kAttrXml, maofro::kTypeString, 0, l};
    std::memcpy(bytes + attrOffset, &attr, sizeof attr);
    std::memcpy(bytes + dataOffset, xml.data(), xml.size());

    indhandler::traceSent(signalTrace, sig, static_cast<OSBUFSIZE>(size));
    send(&sig, pid);
    if (sig != NIL) {
        TRACE(trace, 1, "%s to 0x%x was not sent", form.name, pid);
        free_buf(&sig);
    }
}

}  // namespace

// ---- Instance ------------------------------------------------------------------------

IndHandler* IndHandler::getInstance(uint32_t interfaceVersion) {
    if (theInstance == nullptr) {
        theInstance = new IndHandler();
    }
    versionsInUse()[interfaceVersion] = true;
    return theInstance;
}

void IndHandler::releaseInstance(uint32_t interfaceVersion) {
    if (theInstance == nullptr) {
        return;
    }
    (interfaceVersion == kInterfaceVersion1 ? theInstance->clients1 : theInstance->clients0)
        .clear();
    versionsInUse().erase(interfaceVersion);
    if (versionsInUse().empty()) {
        delete theInstance;
        theInstance = nullptr;
    }
}

IndHandler::IndHandler()
    : wantedSignals{maofro::MAOFRO_NOTIFY_SUBSCRIBE_REQ2, maofro::IND_HND_MAO_FRO_ATTACH_IND},
      version("R1A"),
      signalTraceObject("MaoFroIf"),
      traceObject("IndHandlerLU"),
      subscribed(false) {}

IndHandler::~IndHandler() {
    if (subscribed) {
        SignalDistributorAPI* distributor = getSignalDistributorAPI();
        for (const uint32_t sigNo : wantedSignals) {
            distributor->unsubscribe(sigNo, this);
        }
    }
}

void IndHandler::init() {
    TRACE(traceObject, 2, "IndHandler::init()");
    SignalDistributorAPI* distributor = getSignalDistributorAPI();
    for (const uint32_t sigNo : wantedSignals) {
        distributor->subscribe(sigNo, this);
    }
    subscribed = true;
    TRACE(traceObject, 3, "IndHandler::init returns");
}

// ---- Observers and subscriptions -----------------------------------------------------

void IndHandler::registerClient(IndHandlerObserverIf* observer, uint32_t interfaceVersion) {
    if (observer != nullptr) {
        (interfaceVersion == kInterfaceVersion1 ? clients1 : clients0).insert(observer);
    }
}

void IndHandler::deregisterClient(IndHandlerObserverIf* observer, uint32_t interfaceVersion) {
    (interfaceVersion == kInterfaceVersion1 ? clients1 : clients0).erase(observer);
}

void IndHandler::getSubscriptions(uint32_t pid, IndSubscriptions& out) const {
    out.clear();
    for (const auto& subscription : subscriptions) {
        if (subscription.second == pid) {
            out.push_back(subscription);
        }
    }
}

bool IndHandler::isSubscriber(uint32_t froType, uint32_t pid) const {
    TRACE(traceObject, 2, "IndHandler::isSubscriber(froType=%u)", froType);
    return subscriptions.count({froType, pid}) != 0;
}

void IndHandler::handleSignal(union SIGNAL** sig) {
    dispatch(sig);
}

bool IndHandler::maoFroEvent(union SIGNAL** sig) {
    TRACE(traceObject, 8,
          "maoFroEvent maoFroEvent maoFroEvent maoFroEvent maoFroEvent maoFroEvent ***** "
          "IndHandler::sendParamChdInd*****");
    dispatch(sig);
    return true;
}

void IndHandler::dispatch(union SIGNAL** sig) {
    if (sig == nullptr || *sig == NIL) {
        TRACE(traceObject, 1, "IndHandler: no signal given");
        return;
    }
    const OSBUFSIZE size = sigsize(sig);
    indhandler::traceReceived(signalTraceObject.get(), *sig, size);
    SIGSELECT sigNo = 0;
    if (size >= sizeof sigNo) {
        std::memcpy(&sigNo, *sig, sizeof sigNo);
    }
    switch (sigNo) {
        case maofro::MAOFRO_NOTIFY_SUBSCRIBE_REQ2:
            subscribeReq(sig, size);
            break;
        case maofro::IND_HND_MAO_FRO_ATTACH_IND:
            attachInd(sig);
            break;
        default:
            TRACE(traceObject, 1, "Unknown signal (0x%x) received from 0x%x", sigNo, sender(sig));
            break;
    }
}

void IndHandler::subscribeReq(union SIGNAL** sig, OSBUFSIZE size) {
    const PROCESS from = sender(sig);
    maofro::MaoFroNotifySubscribeReq2 request{};
    if (size < sizeof request) {
        TRACE(traceObject, 1,
              "MAOFRO_NOTIFY_SUBSCRIBE_REQ2 from 0x%x has %u bytes, fewer than %zu: dropped", from,
              size, sizeof request);
        return;
    }
    std::memcpy(&request, *sig, sizeof request);
    if (from == 0) {
        // No process to attach to or to send indications to.
        TRACE(traceObject, 1, "MAOFRO_NOTIFY_SUBSCRIBE_REQ2 without a sending process: dropped");
        return;
    }

    bool known = false;
    for (const auto& subscription : subscriptions) {
        known = known || subscription.second == from;
    }
    if (!known) {
        union SIGNAL* attachSig = alloc(sizeof(SIGSELECT), maofro::IND_HND_MAO_FRO_ATTACH_IND);
        attach(&attachSig, from);
    }
    if (!subscriptions.insert({request.froType, from}).second) {
        return;
    }
    TRACE(traceObject, 8, "Process 0x%x subscribes to froType %u", from, request.froType);
    // An observer may deregister others while it is told: each is looked up again.
    for (std::set<IndHandlerObserverIf*>* clients : {&clients1, &clients0}) {
        const std::vector<IndHandlerObserverIf*> toTell(clients->begin(), clients->end());
        for (IndHandlerObserverIf* observer : toTell) {
            if (clients->count(observer) != 0) {
                observer->subscriberAdded(request.froType, from);
            }
        }
    }
}

void IndHandler::attachInd(union SIGNAL** sig) {
    const PROCESS dead = sender(sig);
    std::size_t removed = 0;
    for (auto it = subscriptions.begin(); it != subscriptions.end();) {
        if (it->second == dead) {
            it = subscriptions.erase(it);
            ++removed;
        } else {
            ++it;
        }
    }
    TRACE(traceObject, 8, "Process 0x%x has ended: %zu subscriptions removed", dead, removed);
}

// ---- Indications ---------------------------------------------------------------------

std::vector<uint32_t> IndHandler::receivers(uint32_t froType, uint32_t pid) const {
    if (pid != 0) {
        return {pid};
    }
    std::vector<uint32_t> pids;
    for (auto it = subscriptions.lower_bound({froType, 0});
         it != subscriptions.end() && it->first == froType; ++it) {
        pids.push_back(it->second);
    }
    return pids;
}

void IndHandler::sendFaultInd(uint32_t froId, uint32_t froType, const std::string& ldn,
                              int32_t faultId, const std::string& faultIdLogical,
                              const std::string& faultDescription,
                              const AdditionalData& additionalData, const std::string& severity,
                              int32_t eventId, uint32_t pid) {
    TRACE(traceObject, 2, "IndHandler::sendFaultInd(froId=%u, froType=%u, faultId=%d, pid=%u)",
          froId, froType, faultId, pid);
    for (const uint32_t receiver : receivers(froType, pid)) {
        TiXmlDocument doc;
        TiXmlElement* fault = addElement(startDocument(doc, version, ldn), "fault");
        TiXmlElement* faultIdAttr = addElement(*fault, "attr");
        faultIdAttr->SetAttribute("name", "faultId");
        faultIdAttr->SetAttribute("type", "S32");
        faultIdAttr->SetAttribute("value", faultId);
        addAttr(*fault, "faultIdLogical", "STRING", faultIdLogical);
        addAttr(*fault, "faultDescription", "STRING", faultDescription);
        TiXmlElement* array = addElement(*fault, "array");
        array->SetAttribute("name", "additionalData");
        for (const std::string& text : additionalData) {
            addAttr(*array, nullptr, "STRING", text);
        }
        if (!severity.empty()) {
            addAttr(*fault, "severity", "STRING", severity);
        }
        TiXmlElement* eventIdAttr = addElement(*fault, "attr");
        eventIdAttr->SetAttribute("name", "eventId");
        eventIdAttr->SetAttribute("type", "S32");
        eventIdAttr->SetAttribute("value", eventId);
        sendIndication(kFaultInd, {froId, froType, static_cast<uint32_t>(faultId), 0, 1},
                       printDocument(doc), receiver, signalTraceObject.get(), traceObject.get());
    }
    TRACE(traceObject, 3, "IndHandler::sendFaultInd returns");
}

void IndHandler::sendFaultInd2(uint32_t froId, uint32_t froType, const std::string& ldn,
                               int32_t faultId, const std::string& faultIdLogical,
                               const std::string& faultDescription,
                               const AdditionalData& additionalData, int32_t severity,
                               int32_t eventId, uint32_t pid) {
    std::string severityText;
    switch (severity) {
        case 1:
            severityText = "LOW";
            break;
        case 2:
            severityText = "HIGH";
            break;
        case 4:
            break;
        default:
            TRACE(traceObject, 4, "Unsupported severity: %d", severity);
            break;
    }
    sendFaultInd(froId, froType, ldn, faultId, faultIdLogical, faultDescription, additionalData,
                 severityText, eventId, pid);
}

void IndHandler::sendFaultCeasedInd(uint32_t froId, uint32_t froType, const std::string& ldn,
                                    int32_t faultId, const std::string& faultIdLogical) {
    TRACE(traceObject, 2, "IndHandler::sendFaultCeasedInd(froId=%u, froType=%u, faultId=%d)", froId,
          froType, faultId);
    for (const uint32_t receiver : receivers(froType, 0)) {
        TiXmlDocument doc;
        TiXmlElement* fault = addElement(startDocument(doc, version, ldn), "fault");
        TiXmlElement* faultIdAttr = addElement(*fault, "attr");
        faultIdAttr->SetAttribute("name", "faultId");
        faultIdAttr->SetAttribute("type", "S32");
        faultIdAttr->SetAttribute("value", faultId);
        addAttr(*fault, "faultIdLogical", "STRING", faultIdLogical);
        sendIndication(kFaultCeasedInd, {froId, froType, static_cast<uint32_t>(faultId), 1},
                       printDocument(doc), receiver, signalTraceObject.get(), traceObject.get());
    }
    TRACE(traceObject, 3, "IndHandler::sendFaultCeasedInd returns");
}

void IndHandler::sendParamChdInd(uint32_t froId, uint32_t froType, const std::string& ldn,
                                 const Attributes& attributes, uint32_t pid) {
    TRACE(traceObject, 2,
          "IndHandler::sendParamChdInd(froId=%u, froType=%u, attributes=%zu, pid=%u)", froId,
          froType, attributes.size(), pid);
    TiXmlDocument doc;
    TiXmlElement& classElement = startDocument(doc, version, ldn);
    for (const Attribute& attribute : attributes) {
        TiXmlElement* attr = addElement(classElement, "attr");
        attr->SetAttribute("name", attribute.name);
        attr->SetAttribute("type", attribute.type);
        attr->SetAttribute("value", attribute.value);
    }
    sendParamChd(froId, froType, doc, pid);
    TRACE(traceObject, 3, "IndHandler::sendParamChdInd returns");
}

void IndHandler::sendParamChdInd(uint32_t froId, uint32_t froType, const std::string& ldn,
                                 const GenericAttributeMap& attributes, uint32_t pid) {
    TRACE(traceObject, 2,
          "IndHandler::sendParamChdInd(froId=%u, froType=%u, attributes=%zu, pid=%u)", froId,
          froType, attributes.size(), pid);
    TiXmlDocument doc;
    TiXmlElement& classElement = startDocument(doc, version, ldn);
    for (const auto& entry : attributes) {
        TiXmlElement* element = entry.second != nullptr ? entry.second->toXml() : nullptr;
        if (element == nullptr) {
            TRACE(traceObject, 1, "Attribute \"%s\" has no XML form: left out",
                  entry.first.c_str());
            continue;
        }
        classElement.LinkEndChild(element);
    }
    sendParamChd(froId, froType, doc, pid);
    TRACE(traceObject, 3, "IndHandler::sendParamChdInd returns");
}

void IndHandler::sendParamChd(uint32_t froId, uint32_t froType, const TiXmlDocument& doc,
                              uint32_t pid) {
    for (const uint32_t receiver : receivers(froType, pid)) {
        sendIndication(kParameterChdInd, {froId, froType, 1}, printDocument(doc), receiver,
                       signalTraceObject.get(), traceObject.get());
    }
}
