#include "UnitStatusState.h"

#include "DynTraceHandler.h"
#include "dynTrace.h"
#include "radioSignalReader.h"
#include "usiSig.h"

#include <cstring>
#include <utility>

namespace hostusi {

namespace {

union SIGNAL* head(SIGSELECT number, uint32_t procedureRef, uint32_t connectionRef) {
    union SIGNAL* signal = alloc(sizeof(UsiSignalHead), number);
    UsiSignalHead* out = reinterpret_cast<UsiSignalHead*>(signal);
    out->procedureRef = procedureRef;
    out->connectionRef = connectionRef;
    return signal;
}

}  // namespace

UnitStatusState::UnitStatusState(UnitStatusConfig config)
    : m_config(std::move(config)), m_trace(DynTraceHandler::registerTraceObject("unitStatus")) {}

UnitStatusState::~UnitStatusState() {
    for (auto& watched : m_watched) {
        detach(&watched.second);
    }
    DynTraceHandler::deregisterTraceObject(m_trace);
}

void UnitStatusState::handle(union SIGNAL* signal) {
    PROCESS from = sender(&signal);
    const OSBUFSIZE size = sigsize(&signal);
    SIGSELECT number = 0;
    std::memcpy(&number, signal, sizeof number);
    switch (number) {
        case KGM_IW_USI_CONN_ESTABLISH_REQ:
            establish(signal, from);
            break;
        case KGM_IW_USI_CONN_CLOSE_REQ:
            close(signal, from);
            break;
        case USI_HOST_SET_STATUS_REQ:
            setStatus(signal, from);
            break;
        case OS_ATTACH_SIG:
            clientEnded(from);
            break;
        default:
            TRACE(m_trace, 1, "%s: unknown signal 0x%x (%u bytes) from 0x%x dropped",
                  m_config.ldn.c_str(), number, size, from);
            break;
    }
}

void UnitStatusState::reject(PROCESS to, uint32_t procedureRef, uint32_t errorCode,
                             const char* why) {
    TRACE(m_trace, 1, "%s: KGM_IW_USI_CONN_ESTABLISH_REQ from 0x%x rejected (%u): %s",
          m_config.ldn.c_str(), to, errorCode, why);
    radioSignals::RejectInfo info;
    info.errorCode = errorCode;
    union SIGNAL* rej =
        radioSignals::makeReject(KGM_IW_USI_CONN_ESTABLISH_REJ, procedureRef, 0, info);
    send(&rej, to);
}

void UnitStatusState::establish(union SIGNAL* signal, PROCESS from) {
    const OSBUFSIZE size = sigsize(&signal);
    radioSignals::UsiEstablishRequest request;
    if (!radioSignals::readUsiConnEstablishReq(signal, size, request)) {
        const UsiSignalHead* head = radioSignals::checkedLayout<UsiSignalHead>(signal, size);
        if (head == nullptr) {
            TRACE(m_trace, 1, "%s: KGM_IW_USI_CONN_ESTABLISH_REQ of %u bytes from 0x%x dropped",
                  m_config.ldn.c_str(), size, from);
            return;
        }
        reject(from, head->procedureRef, kUsiRejectMalformed, "the LDN does not fit the signal");
        return;
    }
    if (request.firstFixedWord != UsiConnEstablishReq::fixedWord ||
        request.secondFixedWord != UsiConnEstablishReq::fixedWord) {
        reject(from, request.procedureRef, kUsiRejectUnsupported, "fixed words other than 1");
        return;
    }
    if (request.ldn != m_config.ldn) {
        reject(from, request.procedureRef, kUsiRejectUnknownUnit, request.ldn.c_str());
        return;
    }
    const uint32_t connectionRef = m_nextConnectionRef++;
    if (m_nextConnectionRef == 0) {
        m_nextConnectionRef = 1;  // 0 stands for no connection
    }
    const Connection connection{from, request.procedureRef};
    m_connections[connectionRef] = connection;
    watch(from);
    TRACE(m_trace, 8, "%s: connection %u for procedure %u of 0x%x", m_config.ldn.c_str(),
          connectionRef, request.procedureRef, from);
    union SIGNAL* cfm = head(KGM_IW_USI_CONN_ESTABLISH_CFM, request.procedureRef, connectionRef);
    send(&cfm, from);
    sendUnitInfo(connectionRef, connection);
}

void UnitStatusState::close(union SIGNAL* signal, PROCESS from) {
    const UsiSignalHead* request =
        radioSignals::checkedLayout<UsiSignalHead>(signal, sigsize(&signal));
    if (request == nullptr) {
        TRACE(m_trace, 1, "%s: short KGM_IW_USI_CONN_CLOSE_REQ from 0x%x dropped",
              m_config.ldn.c_str(), from);
        return;
    }
    const auto it = m_connections.find(request->connectionRef);
    if (it != m_connections.end() && it->second.client == from) {
        m_connections.erase(it);
        TRACE(m_trace, 8, "%s: connection %u closed", m_config.ldn.c_str(), request->connectionRef);
        unwatchIfIdle(from);
    } else {
        // Closing is idempotent: the client waits for the confirmation either way.
        TRACE(m_trace, 4, "%s: close of connection %u, which 0x%x does not hold",
              m_config.ldn.c_str(), request->connectionRef, from);
    }
    union SIGNAL* cfm =
        head(KGM_IW_USI_CONN_CLOSE_CFM, request->procedureRef, request->connectionRef);
    send(&cfm, from);
}

void UnitStatusState::setStatus(union SIGNAL* signal, PROCESS from) {
    const radioSignals::SignalReader reader(signal, sigsize(&signal));
    UnitStatus status;
    int32_t told = -1;
    if (reader.u32(4, status.unitStatusBits) && reader.u32(8, status.operationalState) &&
        reader.text(12, ~std::size_t{0}, status.dcControllerName)) {
        m_config.status = status;
        for (const auto& connection : m_connections) {
            sendUnitInfo(connection.first, connection.second);
        }
        told = static_cast<int32_t>(m_connections.size());
    } else {
        TRACE(m_trace, 1, "%s: malformed USI_HOST_SET_STATUS_REQ from 0x%x", m_config.ldn.c_str(),
              from);
    }
    union SIGNAL* cfm = alloc(8, USI_HOST_SET_STATUS_CFM);
    std::memcpy(reinterpret_cast<uint8_t*>(cfm) + 4, &told, sizeof told);
    send(&cfm, from);
}

void UnitStatusState::sendUnitInfo(uint32_t connectionRef, const Connection& connection) {
    radioSignals::UnitInfo info;
    info.procedureRef = connection.procedureRef;
    info.connectionRef = connectionRef;
    info.unitStatusBits = m_config.status.unitStatusBits;
    info.operationalState = m_config.status.operationalState;
    info.dcControllerName = m_config.status.dcControllerName;
    union SIGNAL* ind = radioSignals::makeUnitInfo(info);
    send(&ind, connection.client);
}

void UnitStatusState::watch(PROCESS client) {
    if (m_watched.count(client) == 0) {
        m_watched[client] = attach(nullptr, client);
    }
}

void UnitStatusState::unwatchIfIdle(PROCESS client) {
    for (const auto& connection : m_connections) {
        if (connection.second.client == client) {
            return;
        }
    }
    const auto it = m_watched.find(client);
    if (it != m_watched.end()) {
        detach(&it->second);
        m_watched.erase(it);
    }
}

void UnitStatusState::clientEnded(PROCESS client) {
    if (m_watched.erase(client) == 0) {
        TRACE(m_trace, 1, "%s: end of 0x%x, which holds no connection", m_config.ldn.c_str(),
              client);
        return;
    }
    for (auto it = m_connections.begin(); it != m_connections.end();) {
        if (it->second.client == client) {
            TRACE(m_trace, 4, "%s: connection %u dropped: its client 0x%x ended",
                  m_config.ldn.c_str(), it->first, client);
            it = m_connections.erase(it);
        } else {
            ++it;
        }
    }
}

}  // namespace hostusi
