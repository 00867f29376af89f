// The RFAI proxy: the search for the service through the name server, and the
// requests of a session.
#include "ULSAProxyRfai.h"

#include "dynTrace.h"
#include "rfaiSignals.h"
#include "traceGroups.h"

#include <cstring>

#define RFAI_TRACE(level, ...) \
    TRACE_GROUP(traceGroups::ulSpectrumAnalyzerCtrlSwU, (level), __VA_ARGS__)

namespace {

// How many bytes of the record are cleared at its creation: both words and the first
// byte of the client name.
constexpr std::size_t kClearedAtCreation = 9;

// A new signal of that size, all zero behind its number.
union SIGNAL* newSignal(std::size_t size, SIGSELECT sigNo) {
    union SIGNAL* signal = alloc(static_cast<OSBUFSIZE>(size), sigNo);
    std::memset(reinterpret_cast<unsigned char*>(signal) + sizeof(SIGSELECT), 0,
                size - sizeof(SIGSELECT));
    return signal;
}

// Copies text into a field of that width, then forces the field's last byte to NUL;
// null gives an empty field.
void fillField(char* field, std::size_t width, const char* text) {
    if (text != nullptr) {
        std::memcpy(field, text, strnlen(text, width));
    }
    field[width - 1] = '\0';
}

// The negative answer that the proxy gives itself when no server is known.
void sendLocalReject(SIGSELECT sigNo) {
    union SIGNAL* signal = newSignal(sizeof(rfai::Rej), sigNo);
    auto* reject = reinterpret_cast<rfai::Rej*>(signal);
    reject->faultCode = rfai::kFaultInvalidState;
    fillField(reject->additionalInfo, sizeof reject->additionalInfo, rfai::kInvalidStateText);
    send(&signal, current_process());
}

void forgetAttach(ULSAProxyRfai* proxy) {
    if (proxy->attachRef != 0) {
        detach(&proxy->attachRef);
    }
    proxy->attachRef = 0;
}

// The name server has answered the hunt: supervise it and ask it for the signal that
// names the service's process when the service is published.
void Osa_Rfai_HuntInd(ULSAProxyRfai* proxy, PROCESS nameServer) {
    if (proxy->attachRef != 0 && proxy->serverPid == 0) {
        // A second search that crossed the first one: the subscription stands already.
        RFAI_TRACE(4, "Osa_Rfai_HuntInd(): already subscribed");
        return;
    }
    union SIGNAL* attachSignal = newSignal(sizeof(rfai::HeadOnly), OSA_RFAI_ATTACH_NS_IND);
    forgetAttach(proxy);
    proxy->attachRef = attach(&attachSignal, nameServer);

    const std::size_t nameLength = std::strlen(rfai::kServiceName);
    const std::size_t fieldLength = rfai::nsNameFieldLength(nameLength);
    union SIGNAL* subscribe = newSignal(rfai::nsSubscribeSize(nameLength), OSA_RFAI_NS_SUBSCRIBE);
    auto* head = reinterpret_cast<rfai::NsSubscribeHead*>(subscribe);
    head->firstWord = 0;
    head->nameFieldLength = static_cast<uint32_t>(fieldLength);
    unsigned char* bytes = reinterpret_cast<unsigned char*>(subscribe);
    std::memcpy(bytes + rfai::NsSubscribeHead::nameOffset, rfai::kServiceName, nameLength);
    const SIGSELECT upSignal = OSA_RFAI_SERVER_UP_IND;
    std::memcpy(bytes + rfai::NsSubscribeHead::nameOffset + fieldLength, &upSignal,
                sizeof upSignal);
    send(&subscribe, nameServer);
}

// The service is published by that process: supervise it and open the session.
void Osa_Rfai_ServerUp(ULSAProxyRfai* proxy, PROCESS server) {
    proxy->serverPid = server;
    forgetAttach(proxy);
    union SIGNAL* downSignal = newSignal(sizeof(rfai::HeadOnly), OSA_RFAI_SERVER_DOWN_IND);
    proxy->attachRef = attach(&downSignal, server);

    union SIGNAL* signal = newSignal(sizeof(rfai::InitServiceReq), OSA_RFAI_INIT_SERVICE_REQ);
    auto* request = reinterpret_cast<rfai::InitServiceReq*>(signal);
    fillField(request->clientName, sizeof request->clientName, proxy->clientName);
    request->pvFirstWanted = proxy->pvFirstWanted;
    request->pvSecondWanted = proxy->pvSecondWanted;
    request->pvThirdWanted = proxy->pvThirdWanted;
    send(&signal, server);
}

// The name server has ended: its attach has fired and is gone; search again.
void Osa_Rfai_NS_Lost(ULSAProxyRfai* proxy) {
    proxy->attachRef = 0;
    char clientName[ULSAProxyRfai::clientNameSize];
    std::memcpy(clientName, proxy->clientName, sizeof clientName);
    Osa_Rfai_initiateService(proxy, clientName, proxy->pvFirstWanted, proxy->pvSecondWanted,
                             proxy->pvThirdWanted);
}

// The server has ended: its attach has fired and is gone.
void Osa_Rfai_ServerDown(ULSAProxyRfai* proxy) {
    proxy->serverPid = 0;
    proxy->attachRef = 0;
}

// The name server says that the service's provider has gone.
void Osa_Rfai_UnpublishInd(ULSAProxyRfai* proxy) {
    Osa_Rfai_release(proxy);
}

// Whether a request can go to a server; if not, the reason is traced.
bool serverKnown(const ULSAProxyRfai* proxy, const char* request) {
    if (proxy->serverPid != 0) {
        return true;
    }
    RFAI_TRACE(1, "%s: no RFAI server, request not sent", request);
    return false;
}

}  // namespace

ULSAProxyRfai* Osa_Rfai_createProxy() {
    union SIGNAL* block = alloc(sizeof(ULSAProxyRfai), 0);
    std::memset(block, 0, kClearedAtCreation);
    return reinterpret_cast<ULSAProxyRfai*>(block);
}

void Osa_Rfai_deleteProxy(ULSAProxyRfai** proxy) {
    if (*proxy == nullptr) {
        return;
    }
    union SIGNAL* block = reinterpret_cast<union SIGNAL*>(*proxy);
    free_buf(&block);
    *proxy = nullptr;
}

int Osa_Rfai_initiateService(ULSAProxyRfai* proxy, const char* clientName, uint16_t pvFirst,
                             uint16_t pvSecond, uint16_t pvThird) {
    int status = 0;
    proxy->pvFirstWanted = pvFirst;
    proxy->pvSecondWanted = pvSecond;
    proxy->pvThirdWanted = pvThird;
    if (clientName == nullptr) {
        RFAI_TRACE(1, "No client name");
        proxy->clientName[0] = '\0';
    } else {
        const std::size_t longest = ULSAProxyRfai::clientNameSize - 1;
        std::size_t length = strnlen(clientName, longest + 1);
        if (length > longest) {
            RFAI_TRACE(1, "Too long client name string");
            length = longest;
            status = 2;
        }
        std::memmove(proxy->clientName, clientName, length);
        proxy->clientName[length] = '\0';
    }
    if (proxy->serverPid != 0) {
        RFAI_TRACE(4, "Osa_Rfai_initiateService(): already initiated");
    }
    union SIGNAL* huntSignal = newSignal(sizeof(rfai::HeadOnly), OSA_RFAI_HUNT_NS_IND);
    hunt(rfai::kNameServerName, 0, nullptr, &huntSignal);
    return status;
}

int handleProxySignal(ULSAProxyRfai* proxy, union SIGNAL* signal) {
    SIGSELECT sigNo;
    std::memcpy(&sigNo, signal, sizeof sigNo);
    switch (sigNo) {
        case OSA_RFAI_HUNT_NS_IND:
            Osa_Rfai_HuntInd(proxy, sender(&signal));
            return 0;
        case OSA_RFAI_SERVER_UP_IND:
            Osa_Rfai_ServerUp(proxy, sender(&signal));
            return 0;
        case OSA_RFAI_ATTACH_NS_IND:
            Osa_Rfai_NS_Lost(proxy);
            return 0;
        case OSA_RFAI_SERVER_DOWN_IND:
            Osa_Rfai_ServerDown(proxy);
            return 0;
        case OSA_RFAI_UNPUBLISH_IND:
            Osa_Rfai_UnpublishInd(proxy);
            return 0;
        case OSA_RFAI_TERMINATE_SERVICE_CFM:
            Osa_Rfai_release(proxy);
            return 0;
        default:
            RFAI_TRACE(1, "Unexpected signal received. sigNo = %lu",
                       static_cast<unsigned long>(sigNo));
            return 1;
    }
}

void sendConnectIPv6BsaReq(ULSAProxyRfai* proxy, const char* password, const char* username,
                           const char* ipAddress) {
    if (!serverKnown(proxy, "sendConnectIPv6BsaReq")) {
        sendLocalReject(OSA_RFAI_CONNECT_REJ);
        return;
    }
    union SIGNAL* signal =
        newSignal(sizeof(rfai::ConnectIpv6BsaReq), OSA_RFAI_CONNECT_IPV6_BSA_REQ);
    auto* request = reinterpret_cast<rfai::ConnectIpv6BsaReq*>(signal);
    fillField(request->ipAddress, sizeof request->ipAddress, ipAddress);
    fillField(request->username, sizeof request->username, username);
    fillField(request->password, sizeof request->password, password);
    send(&signal, proxy->serverPid);
}

void sendPutReq(ULSAProxyRfai* proxy, const char* localPath, const char* remotePath) {
    if (!serverKnown(proxy, "sendPutReq")) {
        sendLocalReject(OSA_RFAI_PUT_REJ);
        return;
    }
    union SIGNAL* signal = newSignal(sizeof(rfai::PutReq), OSA_RFAI_PUT_REQ);
    auto* request = reinterpret_cast<rfai::PutReq*>(signal);
    fillField(request->localPath, sizeof request->localPath, localPath);
    fillField(request->remotePath, sizeof request->remotePath, remotePath);
    send(&signal, proxy->serverPid);
}

void sendDisconnReq(ULSAProxyRfai* proxy) {
    if (!serverKnown(proxy, "sendDisconnReq")) {
        sendLocalReject(OSA_RFAI_DISCONN_REJ);
        return;
    }
    union SIGNAL* signal = newSignal(sizeof(rfai::HeadOnly), OSA_RFAI_DISCONN_REQ);
    send(&signal, proxy->serverPid);
}

void sendTerminateServiceReq(ULSAProxyRfai* proxy) {
    if (proxy->serverPid == 0) {
        union SIGNAL* signal = newSignal(sizeof(rfai::HeadOnly), OSA_RFAI_TERMINATE_SERVICE_CFM);
        send(&signal, current_process());
        return;
    }
    union SIGNAL* signal = newSignal(sizeof(rfai::HeadOnly), OSA_RFAI_TERMINATE_SERVICE_REQ);
    send(&signal, proxy->serverPid);
}

void Osa_Rfai_release(ULSAProxyRfai* proxy) {
    forgetAttach(proxy);
    proxy->serverPid = 0;
}
