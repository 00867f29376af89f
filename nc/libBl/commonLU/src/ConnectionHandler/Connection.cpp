#include "Connection.h"

#include "dynTrace.h"

#include <cstdio>

std::string Connection::toString() const {
    return traceFormat("Connection: m_protocolRev=%u, m_remoteConnectionRef=%u, m_remotePid=%u",
                       m_protocolRev, m_remoteConnectionRef, m_remotePid);
}

void Connection::dump(int indent) const {
    std::printf("%*s%s\n", indent, "", toString().c_str());
    m_procedureRefs.dump(indent + 2);
}
