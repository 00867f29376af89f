// Connection: one entry of ConnectionHandler's table, under its local reference.
#ifndef CONNECTION_H
#define CONNECTION_H

#include "Composite.h"

#include <cstdint>
#include <string>

class Connection {
  public:
    Connection(uint32_t protocolRev, uint32_t remoteConnectionRef, uint32_t remotePid)
        : m_protocolRev(protocolRev),
          m_remoteConnectionRef(remoteConnectionRef),
          m_remotePid(remotePid) {}

    /// The procedure references stored for later replies on this connection.
    Composite& procedureRefs() { return m_procedureRefs; }
    const Composite& procedureRefs() const { return m_procedureRefs; }
    uint32_t protocolRev() const { return m_protocolRev; }
    uint32_t remoteConnectionRef() const { return m_remoteConnectionRef; }
    uint32_t remotePid() const { return m_remotePid; }

    /// "Connection: m_protocolRev=..., m_remoteConnectionRef=..., m_remotePid=...".
    std::string toString() const;
    /// Prints the text form and the procedure references to stdout.
    void dump(int indent) const;

  private:
    Composite m_procedureRefs;
    uint32_t m_protocolRev;
    uint32_t m_remoteConnectionRef;
    uint32_t m_remotePid;
};

#endif  // CONNECTION_H
