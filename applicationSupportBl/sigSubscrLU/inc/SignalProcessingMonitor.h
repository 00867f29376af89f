// SignalProcessingMonitor: told before and after the subscribers of a signal run.
#ifndef SIGNAL_PROCESSING_MONITOR_H
#define SIGNAL_PROCESSING_MONITOR_H

#include "ose.h"

class SignalProcessingMonitor {
  public:
    virtual ~SignalProcessingMonitor() = default;

    /// A signal of that number is about to go to its subscribers.
    virtual void signalProcessingStarted(SIGSELECT sigNo) = 0;
    /// The subscribers of the signal have run.
    virtual void signalProcessingFinished(SIGSELECT sigNo) = 0;
};

#endif  // SIGNAL_PROCESSING_MONITOR_H
