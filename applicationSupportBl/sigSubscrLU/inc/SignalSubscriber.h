// SignalSubscriber: an object that is given the signals it subscribed to.
#ifndef SIGNAL_SUBSCRIBER_H
#define SIGNAL_SUBSCRIBER_H

#include "ose.h"

class SignalSubscriber {
  public:
    virtual ~SignalSubscriber() = default;

    /// Handles a signal. To keep the buffer, set *signal to null: it is then the
    /// subscriber's to free or send, and no later subscriber sees the signal.
    virtual void handleSignal(union SIGNAL** signal) = 0;
};

#endif  // SIGNAL_SUBSCRIBER_H
