// RawPeer: a link peer that writes whatever bytes a test wants, on a plain socket.
// Kept out of the files that include ose.h (the kernel's send() is not the socket's).
#ifndef HOSTLINK_RAW_PEER_H
#define HOSTLINK_RAW_PEER_H

#include "LinkWire.h"

#include <cstdint>
#include <string>
#include <vector>

namespace linktest {

class RawPeer {
  public:
    ~RawPeer() { close(); }
    /// Connects to a listener's Unix socket.
    bool connect(const std::string& path);
    /// Writes a hello with that byte-order mark and name.
    bool hello(const std::string& name, uint32_t byteOrder = hostlink::wire::kByteOrderMark);
    /// Reads the listener's hello; false if it closed instead or refused.
    bool answered();
    /// Reads frames until one of that type, within ms; its payload.
    bool readFrame(hostlink::wire::FrameType type, std::vector<uint8_t>& payload, int ms = 10000);
    bool writeFrame(hostlink::wire::FrameType type, const std::vector<uint8_t>& payload);
    bool write(const std::vector<uint8_t>& bytes);
    /// True if the listener closed the connection within ms.
    bool closedByPeer(int ms = 10000);
    void close();

  private:
    bool readExactly(void* data, std::size_t size, int ms);
    int m_fd = -1;
};

}  // namespace linktest

#endif  // HOSTLINK_RAW_PEER_H
