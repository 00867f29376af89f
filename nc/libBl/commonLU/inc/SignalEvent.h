// SignalEvent: one signal event of a TimestampedSignalList, 28 bytes.
#ifndef SIGNAL_EVENT_H
#define SIGNAL_EVENT_H

#include <cstdint>

struct SignalEvent {
    enum Direction : uint32_t { Received = 0, Sent = 1 };

    uint32_t signalNumber = 0;
    uint32_t direction = Received;  ///< 0 received, 1 sent, anything else unknown
    uint32_t words[5] = {};         ///< filled by the owner of the list
};

static_assert(sizeof(SignalEvent) == 28, "a signal event is seven 32-bit words");

#endif  // SIGNAL_EVENT_H
