#include "MaoFroSignalDispatcher.h"

#include "MaoFroGenericBase.h"
#include "SignalDistributorAPI.h"
#include "maoFroSignals.h"
#include "plab/nameserver/v1/NameServerOse.h"

#include <cstring>

using namespace maofro;

MaoFroSignalDispatcher::MaoFroSignalDispatcher(MaoFroGenericBase& mao)
    : handler(&mao), traceObject("MaoFroIfLU"), signalTraceObject("MaoFroIf") {}

MaoFroSignalDispatcher::~MaoFroSignalDispatcher() {
    unregisterSignals();
}

void MaoFroSignalDispatcher::init(const std::string& serviceName) {
    froServiceName = serviceName;
    registerSignals();
    registerService();
}

void MaoFroSignalDispatcher::handleSignal(union SIGNAL** sig) {
    if (sig == nullptr || *sig == nullptr) {
        return;
    }
    const OSBUFSIZE size = sigsize(sig);
    if (size < sizeof(SIGSELECT)) {
        return;  // no number to go by
    }
    SIGSELECT sigNo = 0;
    std::memcpy(&sigNo, *sig, sizeof sigNo);
    const PROCESS senderPid = sender(sig);
    const auto traceSignal = [&](const char* name) {
        TRACE_DATA(signalTraceObject, 16, *sig, size, "Signalname: %s", name);
    };
    switch (sigNo) {
        case MAO_FRO_CREATE_REQ:
            traceSignal("MAO_FRO_CREATE_REQ");
            handler->handleCreateReq(*sig, senderPid);
            break;
        case MAO_FRO_DELETE_REQ:
            traceSignal("MAO_FRO_DELETE_REQ");
            handler->handleDeleteReq(*sig, senderPid);
            break;
        case MAO_FRO_SET_REQ:
            traceSignal("MAO_FRO_SET_REQ");
            handler->handleSetReq(*sig, senderPid);
            break;
        case MAO_FRO_GET_REQ:
            traceSignal("MAO_FRO_GET_REQ");
            handler->handleGetReq(*sig, senderPid);
            break;
        case MAOFRO_INITIATE_SERVICE_REQ:
            traceSignal("MAOFRO_INITIATE_SERVICE_REQ");
            handler->handleInServReq(*sig, senderPid);
            break;
        case MAO_FRO_ACTION:
            traceSignal("MAO_FRO_ACTION");
            handler->handleActionReq(*sig, senderPid);
            break;
        case MAO_FRO_ACTION_REQ:
            traceSignal("MAO_FRO_ACTION_REQ");
            handler->handleActionReqWCfm(*sig, senderPid);
            break;
        default:
            TRACE(signalTraceObject, 16, "Received uknown signal with signal number: %u(0x%x).",
                  sigNo, sigNo);
            TRACE(traceObject, 1, "MaoFroSignalDispatcher: BAD SIGNAL RECEIVED, signo: 0x%08x",
                  sigNo);
            break;
    }
}

void MaoFroSignalDispatcher::registerSignals() {
    SignalDistributorAPI* distributor = getSignalDistributorAPI();
    for (SIGSELECT sigNo : wantedSignals()) {
        if (!distributor->subscribe(sigNo, this)) {
            TRACE(traceObject, 1, "Failed to subscribe to signal: 0x%08x", sigNo);
        }
    }
}

void MaoFroSignalDispatcher::unregisterSignals() {
    SignalDistributorAPI* distributor = getSignalDistributorAPI();
    for (SIGSELECT sigNo : wantedSignals()) {
        if (!distributor->unsubscribe(sigNo, this)) {
            TRACE(traceObject, 1, "Failed to unsubscribe to signal: 0x%08x", sigNo);
        }
    }
}

void MaoFroSignalDispatcher::registerService() {
    plab::nameserver::v1::NameServer* nameServer = plab::nameserver::v1::getNameServer();
    if (nameServer == nullptr || !nameServer->publish(froServiceName)) {
        TRACE(traceObject, 1, "Failed to publish the service \"%s\"", froServiceName.c_str());
    }
}

std::vector<SIGSELECT> MaoFroSignalDispatcher::wantedSignals() {
    return {MAO_FRO_CREATE_REQ,          MAO_FRO_DELETE_REQ, MAO_FRO_SET_REQ,   MAO_FRO_GET_REQ,
            MAOFRO_INITIATE_SERVICE_REQ, MAO_FRO_ACTION,     MAO_FRO_ACTION_REQ};
}
