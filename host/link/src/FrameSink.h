// FrameSink: the socket side of one link as its kernel side sees it.
//
// Neither this header nor LinkCore.h includes ose.h or a socket header: the kernel's
// send() and the C library's send() cannot meet in one source file, so the kernel side
// (LinkCore.cpp) and the socket side (Connection.cpp, LinkEndpoint.cpp) only meet here.
#ifndef HOSTLINK_FRAME_SINK_H
#define HOSTLINK_FRAME_SINK_H

#include "LinkWire.h"

#include <cstddef>
#include <initializer_list>

namespace hostlink {

struct Part {
    const void* data;
    std::size_t size;
};

class FrameSink {
  public:
    virtual ~FrameSink() = default;
    /// Writes one frame whose payload is the parts in order, from any thread; frames
    /// written by one thread leave in that order. False once the link is down.
    virtual bool write(wire::FrameType type, std::initializer_list<Part> parts) = 0;
};

}  // namespace hostlink

#endif  // HOSTLINK_FRAME_SINK_H
