#include "ConnectionHandler.h"

#include "Leaf.h"
#include "processError.h"

#include <cstdio>
#include <cstring>

namespace {

// Offsets of the establish request and of a confirm's message header.
constexpr uint32_t kProcedureRefOffset = 4;
constexpr uint32_t kConnectionRefOffset = 8;
constexpr uint32_t kRevisionCountOffset = 12;
constexpr uint32_t kRevisionsOffset = 16;

uint32_t wordAt(const union SIGNAL* signal, uint32_t offset) {
    uint32_t word;
    std::memcpy(&word, reinterpret_cast<const unsigned char*>(signal) + offset, sizeof word);
    return word;
}

std::string listText(const std::vector<uint32_t>& revisions) {
    std::string text;
    for (std::size_t i = 0; i < revisions.size(); ++i) {
        if (i != 0) {
            text += ",";
        }
        text += std::to_string(revisions[i]);
    }
    return text;
}

// The index of the first 0 in the list, or -1.
int zeroIndex(const std::vector<uint32_t>& revisions) {
    for (std::size_t i = 0; i < revisions.size(); ++i) {
        if (revisions[i] == 0) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

}  // namespace

ConnectionHandler::ConnectionHandler() = default;

ConnectionHandler::ConnectionHandler(const std::string& interfaceName)
    : m_interfaceName(interfaceName) {}

ConnectionHandler::ConnectionHandler(const std::string& interfaceName,
                                     const std::vector<uint32_t>& localProtocolRevs)
    : m_interfaceName(interfaceName) {
    setLocalProtocolRevs(localProtocolRevs);
}

ConnectionHandler::ConnectionHandler(uint32_t serviceRef, uint32_t userData,
                                     const std::string& interfaceName)
    : m_serviceRef(serviceRef), m_userData(userData), m_interfaceName(interfaceName) {}

ConnectionHandler::ConnectionHandler(uint32_t serviceRef, uint32_t userData,
                                     const std::string& interfaceName,
                                     const std::vector<uint32_t>& localProtocolRevs)
    : m_serviceRef(serviceRef), m_userData(userData), m_interfaceName(interfaceName) {
    setLocalProtocolRevs(localProtocolRevs);
}

ConnectionHandler::~ConnectionHandler() = default;

uint32_t ConnectionHandler::getProtocolRev(uint32_t localConnectionRef) const {
    const auto it = m_connections.find(localConnectionRef);
    return it != m_connections.end() ? it->second.protocolRev() : 0;
}

bool ConnectionHandler::setLocalProtocolRevs(const std::vector<uint32_t>& revisions) {
    const char* name = m_interfaceName.c_str();
    if (revisions.empty()) {
        TRACE(m_trace, 1, "%s : 0 local protocol revisions were provided", name);
        return false;
    }
    const int zero = zeroIndex(revisions);
    if (zero >= 0) {
        const std::string text =
            "The local protocol revision with index " + std::to_string(zero) +
            " is equal to 0, these are the given protocol revisions: " + listText(revisions);
        TRACE(m_trace, 1, "%s : %s", name, text.c_str());
        return false;
    }
    m_localProtocolRevs = revisions;
    return true;
}

void ConnectionHandler::processError(const std::string& text) const {
    TRACE(m_trace, 1, "%s", text.c_str());
    nc::reportProcessError(m_trace.get(), text);
}

bool ConnectionHandler::validateRemote(const std::vector<uint32_t>& remote) const {
    const char* name = m_interfaceName.c_str();
    if (remote.empty()) {
        TRACE(m_trace, 1, "%s : 0 remote protocol revisions were provided", name);
        return false;
    }
    const int zero = zeroIndex(remote);
    if (zero >= 0) {
        const std::string text =
            "The remote protocol revision with index " + std::to_string(zero) +
            " is equal to 0, these are the given protocol revisions: " + listText(remote);
        TRACE(m_trace, 1, "%s : %s", name, text.c_str());
        return false;
    }
    return true;
}

bool ConnectionHandler::bestMatch(const std::vector<uint32_t>& remote, uint32_t& selected) const {
    // The client lists its revisions in its order of preference: the first one
    // this side supports is taken, whatever its number.
    for (const uint32_t wanted : remote) {
        for (const uint32_t local : m_localProtocolRevs) {
            if (wanted == local) {
                selected = wanted;
                return true;
            }
        }
    }
    return false;
}

bool ConnectionHandler::negotiate(const std::vector<uint32_t>& remote, uint32_t& selected) const {
    if (!validateRemote(remote)) {
        return false;
    }
    if (!bestMatch(remote, selected)) {
        processError(m_interfaceName + " : " +
                     "No matching protocol revision between remote and local, the local "
                     "protocol revisions are: " +
                     listText(m_localProtocolRevs) +
                     " and the remote protocol revisions are: " + listText(remote));
        return false;
    }
    return true;
}

void ConnectionHandler::recordClient(uint32_t localConnectionRef, PROCESS pid) {
    const auto seen = m_firstTime.emplace(pid, true);
    if (!seen.second) {
        seen.first->second = false;
    }
    createAssociation(localConnectionRef, pid);
}

int ConnectionHandler::connEstablish(union SIGNAL* signal, PROCESS clientPid,
                                     uint32_t localConnectionRef) {
    const char* name = m_interfaceName.c_str();
    if (signal == nullptr) {
        TRACE(m_trace, 1, "%s : connEstablish: no KGM_IW_%s_CONN_ESTABLISH_REQ given", name, name);
        return 1;
    }
    const OSBUFSIZE size = sigsize(&signal);
    if (size < kRevisionsOffset) {
        TRACE(m_trace, 1, "%s : KGM_IW_%s_CONN_ESTABLISH_REQ of %u bytes is too short", name, name,
              size);
        return 1;
    }
    const uint32_t count = wordAt(signal, kRevisionCountOffset);
    if (kRevisionsOffset + 4ull * count > size) {
        TRACE(m_trace, 1, "KGM_IW_%s_CONN_ESTABLISH_REQ, sizeOfProtocolVersions(%d) wrong!", name,
              static_cast<int>(count));
        return 1;
    }
    std::vector<uint32_t> remote;
    remote.reserve(count);
    for (uint32_t i = 0; i < count; ++i) {
        remote.push_back(wordAt(signal, kRevisionsOffset + 4 * i));
    }

    uint32_t selected = 0;
    if (!negotiate(remote, selected)) {
        return 1;
    }
    const uint32_t signalNumber = wordAt(signal, 0);
    const uint32_t procedureRef = wordAt(signal, kProcedureRefOffset);
    const uint32_t remoteConnectionRef = wordAt(signal, kConnectionRefOffset);
    if (!m_connections.try_emplace(localConnectionRef, selected, remoteConnectionRef, clientPid)
             .second) {
        TRACE(m_trace, 1,
              "%s : localConnectionRef %d is already used, no new connection created, "
              "remoteConnectonRef, pid, and protocolVersion not saved!",
              name, static_cast<int>(localConnectionRef));
    }
    recordClient(localConnectionRef, clientPid);
    saveProcedureRef(localConnectionRef, {signalNumber}, procedureRef);
    return 0;
}

int ConnectionHandler::connCfm(union SIGNAL* signal, PROCESS serverPid,
                               uint32_t& localConnectionRef, uint32_t protocolRev) {
    const char* name = m_interfaceName.c_str();
    if (signal == nullptr) {
        TRACE(m_trace, 1, "%s : connCfm: no confirm signal given", name);
        return 1;
    }
    const OSBUFSIZE size = sigsize(&signal);
    if (size < kConnectionRefOffset + 4) {
        TRACE(m_trace, 1, "%s : connCfm: confirm of %u bytes has no message header", name, size);
        return 1;
    }
    const uint32_t signalNumber = wordAt(signal, 0);
    // The client sent its own local reference as procedureRef; the server echoes it.
    localConnectionRef = wordAt(signal, kProcedureRefOffset);
    const uint32_t remoteConnectionRef = wordAt(signal, kConnectionRefOffset);
    if (!m_connections.try_emplace(localConnectionRef, protocolRev, remoteConnectionRef, serverPid)
             .second) {
        processError(traceFormat(
            "%s : localConnectionRef %d received in "
            "standardConnCfmSignal.messageHeader->procedureRef from server is already used, no "
            "new connection created, remoteConnectonRef, pid, or protocolVersion not saved!",
            name, static_cast<int>(localConnectionRef)));
    }
    recordClient(localConnectionRef, serverPid);
    saveProcedureRef(localConnectionRef, {signalNumber}, localConnectionRef);
    return 0;
}

int ConnectionHandler::reconnect(const std::vector<uint32_t>& remoteRevisions,
                                 uint32_t localConnectionRef, uint32_t remoteConnectionRef,
                                 PROCESS pid) {
    const char* name = m_interfaceName.c_str();
    uint32_t selected = 0;
    if (!negotiate(remoteRevisions, selected)) {
        return 1;
    }
    for (const auto& entry : m_connections) {
        const Connection& connection = entry.second;
        if (connection.remoteConnectionRef() != remoteConnectionRef ||
            connection.remotePid() != pid) {
            continue;
        }
        if (entry.first == localConnectionRef) {
            TRACE(m_trace, 4, "%s : Reconnecting localConnectionRef %d to remoteConnectionRef %d",
                  name, static_cast<int>(localConnectionRef),
                  static_cast<int>(remoteConnectionRef));
            if (selected != connection.protocolRev()) {
                // Not fatal on purpose: the connection keeps the revision it had.
                TRACE(m_trace, 4, "But the protocol revision does not match, Who cares!");
                TRACE(m_trace, 4, "%s : Requested protocol revisions:%s, Best match %d", name,
                      listText(remoteRevisions).c_str(), static_cast<int>(selected));
                TRACE(m_trace, 4, "%s : Supported protocol revisions:%s Selected %d", name,
                      listText(m_localProtocolRevs).c_str(),
                      static_cast<int>(connection.protocolRev()));
            }
            recordClient(localConnectionRef, pid);
            return 0;
        }
        TRACE(m_trace, 4,
              "%s : Trying to reconnecting localConnectionRef %d to remoteConnectionRef %d:pid "
              "%d,but entry already exists with old localConnectionRef %d",
              name, static_cast<int>(localConnectionRef), static_cast<int>(remoteConnectionRef),
              static_cast<int>(pid), static_cast<int>(entry.first));
        break;
    }
    if (!m_connections.try_emplace(localConnectionRef, selected, remoteConnectionRef, pid).second) {
        processError(
            traceFormat("%s : localConnectionRef %d is already used, no new connection created, "
                        "remoteConnectonRef, pid, and protocolVersion not saved!",
                        name, static_cast<int>(localConnectionRef)));
    }
    recordClient(localConnectionRef, pid);
    return 0;
}

uint32_t ConnectionHandler::getRemoteConnectionRef(uint32_t localConnectionRef) const {
    const auto it = m_connections.find(localConnectionRef);
    if (it == m_connections.end()) {
        TRACE(m_trace, 1, "%s : No valid connection found for localConnectionRef == %d",
              m_interfaceName.c_str(), static_cast<int>(localConnectionRef));
        return invalidRef;
    }
    return it->second.remoteConnectionRef();
}

bool ConnectionHandler::firstTimeClientConnects(PROCESS pid) const {
    const auto it = m_firstTime.find(pid);
    if (it == m_firstTime.end()) {
        TRACE(m_trace, 1, "%s : firstTimeClientConnects: cannot find client with pid=%d ",
              m_interfaceName.c_str(), static_cast<int>(pid));
        return false;
    }
    return it->second;
}

void ConnectionHandler::createAssociation(uint32_t connectionRef, PROCESS pid) {
    const auto range = m_clients.equal_range(connectionRef);
    for (auto it = range.first; it != range.second; ++it) {
        if (it->second == pid) {
            TRACE(m_trace, 4, "%s : Client association exist connectioRef=%d for clientPid=%x",
                  m_interfaceName.c_str(), static_cast<int>(connectionRef), pid);
            return;
        }
    }
    TRACE(m_trace, 4, "%s : Create association connectioRef=%d for clientPid=%x",
          m_interfaceName.c_str(), static_cast<int>(connectionRef), pid);
    m_clients.emplace(connectionRef, pid);
}

void ConnectionHandler::removeAssociation(uint32_t connectionRef) {
    const auto range = m_clients.equal_range(connectionRef);
    std::vector<uint32_t> pids;
    for (auto it = range.first; it != range.second; ++it) {
        TRACE(m_trace, 4, "%s : Remove association connectioRef=%d for clientPid=%x",
              m_interfaceName.c_str(), static_cast<int>(connectionRef), it->second);
        pids.push_back(it->second);
    }
    m_clients.erase(range.first, range.second);
    for (const uint32_t pid : pids) {
        if (getConnectionRefsByPid(pid).empty()) {
            m_firstTime.erase(pid);
        }
    }
}

void ConnectionHandler::removeClient(PROCESS pid) {
    for (auto it = m_clients.begin(); it != m_clients.end();) {
        if (it->second == pid) {
            TRACE(m_trace, 4, "%s : Remove association connectioRef=%d for clientPid=%x",
                  m_interfaceName.c_str(), static_cast<int>(it->first), pid);
            it = m_clients.erase(it);
        } else {
            ++it;
        }
    }
    m_firstTime.erase(pid);
}

PROCESS ConnectionHandler::getPidByConnectionRef(uint32_t connectionRef) const {
    const auto it = m_clients.find(connectionRef);
    if (it == m_clients.end()) {
        TRACE(m_trace, 1,
              "%s : getPidByConnectionRef: cannot find client pid with this connectionRef=%d",
              m_interfaceName.c_str(), static_cast<int>(connectionRef));
        return 0;
    }
    TRACE(m_trace, 4, "%s : Returned clientPid=%x for connectioRef=%d", m_interfaceName.c_str(),
          it->second, static_cast<int>(connectionRef));
    return it->second;
}

std::vector<uint32_t> ConnectionHandler::getConnectionRefsByPid(PROCESS pid) const {
    std::vector<uint32_t> refs;
    for (const auto& entry : m_clients) {
        if (entry.second == pid) {
            refs.push_back(entry.first);
        }
    }
    return refs;
}

bool ConnectionHandler::connectionExists(uint32_t localConnectionRef) const {
    return m_connections.count(localConnectionRef) != 0;
}

void ConnectionHandler::saveProcedureRef(uint32_t localConnectionRef,
                                         const std::vector<uint32_t>& keys, uint32_t procedureRef) {
    const auto it = m_connections.find(localConnectionRef);
    if (it == m_connections.end()) {
        TRACE(m_trace, 1,
              "%s : Received a signal (%x) with an invalid connection connectionRef: %d, can't "
              "save procedureRef: %d",
              m_interfaceName.c_str(), keys.empty() ? 0u : keys.front(),
              static_cast<int>(localConnectionRef), static_cast<int>(procedureRef));
        return;
    }
    if (keys.empty()) {
        TRACE(m_trace, 1, "%s : saveProcedureRef: no key given for connectionRef: %d",
              m_interfaceName.c_str(), static_cast<int>(localConnectionRef));
        return;
    }
    Component* node = &it->second.procedureRefs();
    for (std::size_t i = 0; i + 1 < keys.size(); ++i) {
        Component* next = node->child(keys[i]);
        if (next == nullptr) {
            next = new Composite;
            if (!node->add(keys[i], next)) {
                // node ends a shorter path saved earlier and cannot hold children.
                delete next;
                traceBlockedPath(localConnectionRef, keys[i], procedureRef);
                return;
            }
        }
        node = next;
    }
    Component* last = node->child(keys.back());
    if (last == nullptr) {
        last = new Leaf;
        if (!node->add(keys.back(), last)) {
            delete last;
            traceBlockedPath(localConnectionRef, keys.back(), procedureRef);
            return;
        }
    }
    last->setValue(procedureRef);
}

void ConnectionHandler::traceBlockedPath(uint32_t localConnectionRef, uint32_t key,
                                         uint32_t procedureRef) const {
    TRACE(m_trace, 1,
          "%s : saveProcedureRef: key %d of connectionRef: %d lies behind a stored procedureRef, "
          "procedureRef: %d not saved",
          m_interfaceName.c_str(), static_cast<int>(key), static_cast<int>(localConnectionRef),
          static_cast<int>(procedureRef));
}

uint32_t ConnectionHandler::getProcedureRef(uint32_t localConnectionRef,
                                            const std::vector<uint32_t>& keys) const {
    const char* name = m_interfaceName.c_str();
    const auto traceKeys = [&]() {
        for (std::size_t i = 0; i < keys.size(); ++i) {
            TRACE(m_trace, 1, "%s : for procedureRefIdentifiers[%d]: %d", name, static_cast<int>(i),
                  static_cast<int>(keys[i]));
        }
    };
    const auto it = m_connections.find(localConnectionRef);
    if (it == m_connections.end()) {
        TRACE(m_trace, 1,
              "%s : Invalid connection when searching for procedure reference, connectionRef: "
              "%d, sending a response without an existing connection?",
              name, static_cast<int>(localConnectionRef));
        traceKeys();
        return invalidRef;
    }
    const Component* node = &it->second.procedureRefs();
    for (std::size_t i = 0; i < keys.size(); ++i) {
        node = node->child(keys[i]);
        if (node == nullptr) {
            TRACE(m_trace, 1,
                  "%s : Unexisting key when searching for procedure reference for connectionRef: "
                  "%d component: %d key: %d, sending a response without having received the "
                  "coresponding request?",
                  name, static_cast<int>(localConnectionRef), static_cast<int>(i),
                  static_cast<int>(keys[i]));
            traceKeys();
            return invalidRef;
        }
    }
    return node->getValue();
}

std::string ConnectionHandler::connectionToString(uint32_t localConnectionRef) const {
    const auto it = m_connections.find(localConnectionRef);
    if (it == m_connections.end()) {
        return traceFormat("Could not find connection for localConnectioRef=%u",
                           localConnectionRef);
    }
    return it->second.toString() + traceFormat(", localConnectionRef=%u", localConnectionRef);
}

void ConnectionHandler::dump() const {
    std::printf("ConnectionHandler interface: %s\n", m_interfaceName.c_str());
    int index = 0;
    for (const auto& entry : m_connections) {
        std::printf("Connection %2d localConnectionRef=%d\n", index++,
                    static_cast<int>(entry.first));
        entry.second.dump(2);
    }
}

bool ConnectionHandler::getServerInstanceName(union SIGNAL* signal, std::string& name) const {
    name.clear();
    if (signal == nullptr) {
        return false;
    }
    const OSBUFSIZE size = sigsize(&signal);
    const uint32_t count = size >= kRevisionsOffset ? wordAt(signal, kRevisionCountOffset) : 0;
    const uint64_t nameOffset = kRevisionsOffset + 4ull * count;
    if (size < kRevisionsOffset || nameOffset > size) {
        TRACE(m_trace, 1, "KGM_IW_%s_CONN_ESTABLISH_REQ, sizeOfProtocolVersions(%d) wrong!",
              m_interfaceName.c_str(), static_cast<int>(count));
        return false;
    }
    const uint32_t length =
        nameOffset + 4 <= size ? wordAt(signal, static_cast<uint32_t>(nameOffset)) : 0;
    if (nameOffset + 4 + length > size) {
        TRACE(m_trace, 1,
              "KGM_IW_CGCI_CONN_ESTABLISH_REQ,sizeOfServerInstanceName(%d) wrong! Signal size "
              "(%d) is too small",
              static_cast<int>(length), static_cast<int>(size));
        return false;
    }
    const char* text = reinterpret_cast<const char*>(signal) + nameOffset + 4;
    // The name may carry its terminating NUL inside its length.
    name.assign(text, strnlen(text, length));
    return true;
}
