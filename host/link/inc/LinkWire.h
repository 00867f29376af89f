// LinkWire: the bytes that two link end points exchange over their socket.
//
// Every number is in the byte order of the machine that writes it: both ends must
// share one, which the hello checks. A connection begins with one hello each way (the
// connecting end first), then carries frames: a FrameHeader and `length` bytes.
#ifndef HOSTLINK_LINK_WIRE_H
#define HOSTLINK_LINK_WIRE_H

#include <cstdint>

namespace hostlink {
namespace wire {

constexpr char kMagic[4] = {'U', 'L', 'N', 'K'};
/// Written as a native 32-bit number: reads as kByteOrderSwapped on a machine of the
/// other byte order.
constexpr uint32_t kByteOrderMark = 0x01020304u;
constexpr uint32_t kByteOrderSwapped = 0x04030201u;
constexpr uint32_t kVersion = 1;

/// The largest signal, and the longest process name, a frame may carry.
constexpr uint32_t kMaxSignalSize = 65535;
constexpr uint32_t kMaxName = 255;

enum class HelloStatus : uint32_t {
    Accepted = 0,
    NameInUse = 1,  // the listener has a link of that name already
    Refused = 2,    // wrong version, bad name
};

/// The hello, followed by nameLength bytes of name (no NUL). The connecting end names
/// itself as the listener is to know it; the listener answers with an empty name.
struct Hello {
    char magic[4];
    uint32_t byteOrder;
    uint32_t version;
    uint32_t heartbeatTimeoutMs;  // the writer loses the link after this much silence
    uint32_t status;              // HelloStatus, in the listener's answer
    uint32_t nameLength;
};

enum class FrameType : uint32_t {
    Ping = 1,         // nothing: the peer is alive
    HuntRequest = 2,  // name: hunt this name on your side
    HuntFound = 3,    // pid, name: your hunt for name found pid
    Announce = 4,     // pid, name: pid of mine sends to you
    Signal = 5,       // from, to, the signal's bytes (at least its 4-byte number)
    Ended = 6,        // pid: a process of mine that you know has ended
};

struct FrameHeader {
    uint32_t type;
    uint32_t length;  // bytes after the header
};

/// What comes first in the payload of HuntFound, Announce and Ended.
struct PidPart {
    uint32_t pid;
};

/// What comes first in the payload of Signal: the sender's pid on the writer's side
/// (0 for none) and the addressee's pid on the reader's side.
struct SignalPart {
    uint32_t from;
    uint32_t to;
};

/// The longest payload of any frame: a signal of the largest size.
constexpr uint32_t kMaxPayload = sizeof(SignalPart) + kMaxSignalSize;

}  // namespace wire
}  // namespace hostlink

#endif  // HOSTLINK_LINK_WIRE_H
