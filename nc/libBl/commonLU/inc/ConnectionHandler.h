// ConnectionHandler: the bookkeeping of a KGM_IW interface, server or client side.
//
// It negotiates the protocol revision (the first remote revision found locally
// wins: the client's order of preference, not the highest number), keeps the
// table of connections with their local and remote references, associates
// connections with client processes, and stores the procedure references that
// later replies must echo.
//
// Establish requests are read as KGM_IW_<interface>_CONN_ESTABLISH_REQ, in host
// order: offset 4 procedureRef, 8 the client's connectionRef, 12 the number of
// revisions, 16 the revisions, 4 bytes each. A confirm is read as its message
// header: offset 4 procedureRef (the client's local reference), 8 connectionRef.
//
// One process uses a handler; it takes no lock. Must be constructed on a kernel
// process (it registers its trace object "ncConnectionHandler").
#ifndef CONNECTION_HANDLER_H
#define CONNECTION_HANDLER_H

#include "Connection.h"
#include "dynTrace.h"
#include "ose.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

class ConnectionHandler {
  public:
    /// What getRemoteConnectionRef() and getProcedureRef() give when there is nothing: -1.
    static constexpr uint32_t invalidRef = 0xFFFFFFFFu;

    ConnectionHandler();
    explicit ConnectionHandler(const std::string& interfaceName);
    ConnectionHandler(const std::string& interfaceName,
                      const std::vector<uint32_t>& localProtocolRevs);
    ConnectionHandler(uint32_t serviceRef, uint32_t userData, const std::string& interfaceName);
    ConnectionHandler(uint32_t serviceRef, uint32_t userData, const std::string& interfaceName,
                      const std::vector<uint32_t>& localProtocolRevs);
    ConnectionHandler(const ConnectionHandler&) = delete;
    ConnectionHandler& operator=(const ConnectionHandler&) = delete;
    virtual ~ConnectionHandler();

    /// The revision agreed for the connection, 0 for an unknown reference.
    virtual uint32_t getProtocolRev(uint32_t localConnectionRef) const;

    /// Sets the supported revisions; an empty list or a 0 in it is refused (false).
    bool setLocalProtocolRevs(const std::vector<uint32_t>& revisions);

    /// Server side: negotiates and records a client's establish request; 0 success, 1 failure.
    int connEstablish(union SIGNAL* signal, PROCESS clientPid, uint32_t localConnectionRef);

    /// Client side: records the server's confirm; localConnectionRef is set from the
    /// signal's procedureRef. 0 success, 1 a malformed signal.
    int connCfm(union SIGNAL* signal, PROCESS serverPid, uint32_t& localConnectionRef,
                uint32_t protocolRev);

    /// A client returning after a restart of the server; 0 success, 1 no revision in common.
    int reconnect(const std::vector<uint32_t>& remoteRevisions, uint32_t localConnectionRef,
                  uint32_t remoteConnectionRef, PROCESS pid);

    /// The peer's reference of the connection, or invalidRef.
    uint32_t getRemoteConnectionRef(uint32_t localConnectionRef) const;

    /// Whether the client connected for the first time; false for an unknown pid.
    bool firstTimeClientConnects(PROCESS pid) const;

    /// Associates a connection with a client; a pair that exists stays one.
    void createAssociation(uint32_t connectionRef, PROCESS pid);

    /// Ends the connection's associations; a pid left without any is forgotten.
    void removeAssociation(uint32_t connectionRef);

    /// Ends every association of the pid and forgets it.
    void removeClient(PROCESS pid);

    /// The client associated with the connection, or 0.
    PROCESS getPidByConnectionRef(uint32_t connectionRef) const;

    /// Every connection associated with the pid.
    std::vector<uint32_t> getConnectionRefsByPid(PROCESS pid) const;

    /// Whether the table holds the reference.
    bool connectionExists(uint32_t localConnectionRef) const;

    /// Stores procedureRef under the path keys of the connection; an old value is overwritten.
    void saveProcedureRef(uint32_t localConnectionRef, const std::vector<uint32_t>& keys,
                          uint32_t procedureRef);

    /// The reference stored under keys, or invalidRef.
    uint32_t getProcedureRef(uint32_t localConnectionRef, const std::vector<uint32_t>& keys) const;

    /// The connection's text with ", localConnectionRef=...", or a text saying it is unknown.
    std::string connectionToString(uint32_t localConnectionRef) const;

    /// Prints the interface and every connection to stdout.
    void dump() const;

    /// The server instance name behind the revisions of an establish request (a u32
    /// length, then that many characters); false, with an empty name, if it does not fit.
    bool getServerInstanceName(union SIGNAL* signal, std::string& name) const;

    uint32_t getServiceRef() const { return m_serviceRef; }
    uint32_t getUserData() const { return m_userData; }
    const std::string& getInterfaceName() const { return m_interfaceName; }
    const std::vector<uint32_t>& getLocalProtocolRevs() const { return m_localProtocolRevs; }

  private:
    bool validateRemote(const std::vector<uint32_t>& remote) const;
    bool bestMatch(const std::vector<uint32_t>& remote, uint32_t& selected) const;
    bool negotiate(const std::vector<uint32_t>& remote, uint32_t& selected) const;
    void recordClient(uint32_t localConnectionRef, PROCESS pid);
    void processError(const std::string& text) const;
    void traceBlockedPath(uint32_t localConnectionRef, uint32_t key, uint32_t procedureRef) const;

    uint32_t m_serviceRef = 0;
    std::map<uint32_t, Connection> m_connections;
    std::multimap<uint32_t, uint32_t> m_clients;
    std::map<uint32_t, bool> m_firstTime;
    uint32_t m_userData = 0;
    std::string m_interfaceName = "Interface";
    std::vector<uint32_t> m_localProtocolRevs;
    TraceHandle m_trace{"ncConnectionHandler"};
};

#endif  // CONNECTION_HANDLER_H
