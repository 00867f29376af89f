// ImaFacade: reads go out as OMF_MAO_IMA_NC_READ_REQ to the service's process once the
// name server has told which one it is; OMF_MAO_IMA_NC_READ_CFM comes back through the
// signal distributor and goes to the read's client.
#include "ImaFacade.h"

#include "SignalDistributorAPI.h"
#include "SignalNumber2Name.h"
#include "XmlClassData.h"
#include "dynTrace.h"
#include "imaSignals.h"
#include "plab/nameserver/v1/NameServerOse.h"
#include "processError.h"
#include "traceGroups.h"
#include "xmlHandler.h"

#include <cstring>

#define IMA_TRACE(level, ...) TRACE_GROUP(traceGroups::ncImaIf, (level), __VA_ARGS__)
#define IMA_TRACE_DATA(level, data, length, ...)                                      \
    do {                                                                              \
        if (traceLevelOn(traceRefGet(traceDefaultRef), 21))                           \
            TRACE_DATA(traceGroups::ncImaIf, (level), (data), (length), __VA_ARGS__); \
    } while (0)

namespace {

ImaFacade* instance = nullptr;

}  // namespace

ImaFacade* ImaFacade::getInstance() {
    if (instance == nullptr) {
        instance = new ImaFacade();
        instance->init();
    }
    return instance;
}

void ImaFacade::destroyInstance() {
    // Cleared first, so that nothing the destructor calls finds the object it ends.
    ImaFacade* ending = instance;
    instance = nullptr;
    delete ending;
}

ImaFacade::ImaFacade()
    : receivedSignals{{NC_OMF_MAO_IMA_ATTACH_IND, "NC_OMF_MAO_IMA_ATTACH_IND"},
                      {OMF_MAO_IMA_NC_READ_CFM, "OMF_MAO_IMA_NC_READ_CFM"}},
      sentSignals{{OMF_MAO_IMA_NC_READ_REQ, "OMF_MAO_IMA_NC_READ_REQ"}},
      serviceFoundCallback(std::make_shared<ServiceCallback>(
          [this](const std::string&, PROCESS pid) { serverFound(pid); })),
      // The loss of the server is seen by the attach, which also covers a server that
      // ends without taking its publication back.
      serviceLostCallback(std::make_shared<ServiceCallback>([](const std::string&, PROCESS) {})) {}

ImaFacade::~ImaFacade() {
    SignalDistributorAPI* distributor = getSignalDistributorAPI();
    for (const SignalName& signal : receivedSignals) {
        distributor->unsubscribe(signal.first, this);
    }
    unsubscribeToServer();
    if (attachRef != 0) {
        detach(&attachRef);
    }
}

void ImaFacade::init() {
    IMA_TRACE(2, "ImaFacade::init()");
    if (initialised) {
        IMA_TRACE(3, "ImaFacade::init() returned: initialised before");
        return;
    }
    initialised = true;
    SignalDistributorAPI* distributor = getSignalDistributorAPI();
    for (const SignalName& signal : receivedSignals) {
        if (!distributor->subscribe(signal.first, this)) {
            IMA_TRACE(1, "Subscription of %s failed", signal.second.c_str());
        }
    }
    SignalNumber2Name::getInstance()->insertSignalNames(receivedSignals);
    SignalNumber2Name::getInstance()->insertSignalNames(sentSignals);
    subscribeToServer();
    IMA_TRACE(3, "ImaFacade::init() returned");
}

std::string ImaFacade::requestText(const std::vector<std::string>& ldns) {
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<ima version=\"R1A\">\n";
    for (const std::string& ldn : ldns) {
        text += "<request ldn=\"" + ldn + "\"/>\n";
    }
    text += "</ima>";
    return text;
}

void ImaFacade::read(ImaClient* client, const std::vector<std::string>& ldns) {
    IMA_TRACE(2, "ImaFacade::read(client=%p, ldns=%zu)", static_cast<void*>(client), ldns.size());
    const uint32_t clientRef = nextClientRef++;
    std::string text = requestText(ldns);
    if (client == nullptr) {
        processError(
            traceFormat("Read without a client, clientRef: %d", static_cast<int>(clientRef)));
    } else if (text.size() > ima::kLongestText) {
        processError(
            traceFormat("Read request of %zu characters is longer than a signal, clientRef: %d",
                        text.size(), static_cast<int>(clientRef)));
    } else {
        clients[clientRef] = client;
        if (serverPid == 0) {
            IMA_TRACE(4, "Omf Ima Server currently not available. Queueing request. clientRef=%d",
                      static_cast<int>(clientRef));
            queuedRequests.emplace_back(clientRef, std::move(text));
        } else {
            sendRequest(clientRef, text);
        }
    }
    IMA_TRACE(3, "ImaFacade::read() returned");
}

void ImaFacade::handleSignal(union SIGNAL** signal) {
    SIGSELECT number = 0;
    std::memcpy(&number, *signal, sizeof number);
    switch (number) {
        case NC_OMF_MAO_IMA_ATTACH_IND:
            serverDied(sender(signal));
            break;
        case OMF_MAO_IMA_NC_READ_CFM:
            // Last: the client that it calls may end the facade.
            readCfm(*signal);
            break;
        default:
            processError(
                traceFormat("Unexpected signal(0x%x) received from 0x%x", number, sender(signal)));
            break;
    }
}

void ImaFacade::subscribeToServer() {
    if (subscribed || serverPid != 0) {
        return;
    }
    IMA_TRACE(8, "Subscribing to Omf Ima Server");
    // Set before the call: a provider known already is told at once, inside it.
    subscribed = true;
    plab::nameserver::v1::getNameServer()->subscribeToService(
        ima::kServiceName, serviceFoundCallback, serviceLostCallback);
}

void ImaFacade::unsubscribeToServer() {
    if (!subscribed) {
        return;
    }
    subscribed = false;
    plab::nameserver::v1::getNameServer()->unsubscribeToService(
        ima::kServiceName, serviceFoundCallback, serviceLostCallback);
}

void ImaFacade::serverFound(PROCESS pid) {
    if (pid == endedServerPid) {
        // The name-server client still names the provider that it knew when the
        // subscription was made anew; it tells of the next one when there is one.
        IMA_TRACE(4, "Omf Ima Server 0x%x has ended: waiting for the next one", pid);
        return;
    }
    IMA_TRACE(8, "Omf Ima Server published");
    if (attachRef != 0) {
        // Another provider than the one we had: only the new one is supervised.
        detach(&attachRef);
    }
    serverPid = pid;
    IMA_TRACE(8, "Attaching to Omf Ima Server");
    union SIGNAL* attachSignal = alloc(sizeof(SIGSELECT), NC_OMF_MAO_IMA_ATTACH_IND);
    attachRef = attach(&attachSignal, pid);
    IMA_TRACE(8, "Sending %d queued read requests", static_cast<int>(queuedRequests.size()));
    while (!queuedRequests.empty()) {
        const std::pair<uint32_t, std::string> request = std::move(queuedRequests.front());
        queuedRequests.pop_front();
        sendRequest(request.first, request.second);
    }
    unsubscribeToServer();
}

void ImaFacade::serverDied(PROCESS from) {
    if (from != serverPid) {
        // The attach of a server that another has replaced fired before its detach.
        IMA_TRACE(4, "NC_OMF_MAO_IMA_ATTACH_IND from 0x%x, which is not the server (0x%x)", from,
                  serverPid);
        return;
    }
    IMA_TRACE(8, "Omf Ima Server 0x%x has ended", from);
    attachRef = 0;
    serverPid = 0;
    endedServerPid = from;
    // Reads under way stay in clients: they are not repeated, and not answered.
    subscribeToServer();
}

void ImaFacade::readCfm(union SIGNAL* signal) {
    const OSBUFSIZE size = sigsize(&signal);
    IMA_TRACE_DATA(16, signal, size, "OMF_MAO_IMA_NC_READ_CFM of %u bytes", size);
    uint32_t clientRef = 0;
    if (!ima::readClientRef(signal, size, clientRef)) {
        processError(traceFormat("OMF_MAO_IMA_NC_READ_CFM of %u bytes has no clientRef", size));
        return;
    }
    IMA_TRACE(11, "OMF_MAO_IMA_NC_READ_CFM, clientRef=%d", static_cast<int>(clientRef));

    ImaMoAttributes result;
    std::string text;
    std::vector<XmlClassData> records;
    if (!ima::readText(signal, size, text)) {
        IMA_TRACE(1, "OMF_MAO_IMA_NC_READ_CFM, clientRef=%d: no text within its %u bytes",
                  static_cast<int>(clientRef), size);
    } else if (xmlHandler::instance().parseClasses(text, records)) {
        for (const XmlClassData& record : records) {
            for (const Attribute& attribute : record.attributes) {
                result[record.ldn][attribute.name] = attribute.value;
            }
        }
    }

    auto found = clients.find(clientRef);
    if (found == clients.end()) {
        processError(
            traceFormat("Not possible to return ImaMoAttributes, client missing, clientRef: %d",
                        static_cast<int>(clientRef)));
        return;
    }
    ImaClient* client = found->second;
    clients.erase(found);
    client->readCfm(result);
}

void ImaFacade::sendRequest(uint32_t clientRef, const std::string& text) {
    union SIGNAL* request = ima::makeSignal(OMF_MAO_IMA_NC_READ_REQ, clientRef, text);
    IMA_TRACE(10, "OMF_MAO_IMA_NC_READ_REQ, clientRef=%d", static_cast<int>(clientRef));
    IMA_TRACE_DATA(15, request, text.size() + ima::kSizeBeyondText,
                   "OMF_MAO_IMA_NC_READ_REQ to 0x%x", serverPid);
    send(&request, serverPid);
}

void ImaFacade::processError(const std::string& text) {
    IMA_TRACE(1, "%s", text.c_str());
    nc::reportProcessError(traceGroups::ncImaIf, text);
}
