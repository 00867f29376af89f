// SignalDistributorAPI: subscriptions to signal numbers, and the dispatch of a message
// to every subscriber of its number.
#ifndef SIGNAL_DISTRIBUTOR_API_H
#define SIGNAL_DISTRIBUTOR_API_H

#include "SignalProcessingMonitor.h"
#include "SignalSubscriber.h"
#include "ose.h"
#include "plab/messaging/v1/Message.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

/// A version-1 handler. It may take the buffer over with release(); no later
/// subscriber then sees the signal.
using SignalHandler = std::function<void(std::shared_ptr<plab::messaging::v1::Message>)>;

/// A content filter: (offset in bytes, 32-bit value) pairs, all of which must match the
/// signal's words. Offsets must be multiples of 4.
using SignalFilter = std::vector<std::pair<uint32_t, uint32_t>>;

// Every subscribe and unsubscribe returns true when it changed the table. A
// subscription for a number that already has one of the same subscriber (or handler
// owner) is refused, whatever its sender or filter. Handlers are held by weak
// pointer: an expired handler is refused at subscription, and a subscription whose
// handler has died later stays in the table and still counts as a receiver.
class SignalDistributorAPI {
  public:
    virtual ~SignalDistributorAPI() = default;

    /// Every signal of that number.
    virtual bool subscribe(SIGSELECT sigNo, SignalSubscriber* subscriber) = 0;
    /// Signals of that number from one sender.
    virtual bool subscribe(SIGSELECT sigNo, PROCESS sender, SignalSubscriber* subscriber) = 0;
    /// Signals of that number from one sender whose word at offset holds value.
    virtual bool subscribe(SIGSELECT sigNo, PROCESS sender, uint32_t offset, uint32_t value,
                           SignalSubscriber* subscriber) = 0;
    /// Signals of that number whose word at offset holds value.
    virtual bool subscribe(SIGSELECT sigNo, uint32_t offset, uint32_t value,
                           SignalSubscriber* subscriber) = 0;
    /// Removes the first subscription of the subscriber to the number; false for null.
    virtual bool unsubscribe(SIGSELECT sigNo, SignalSubscriber* subscriber) = 0;

    /// The handler forms of the subscriptions above, and one with a whole filter.
    virtual bool subscribe(SIGSELECT sigNo, const std::weak_ptr<SignalHandler>& handler) = 0;
    virtual bool subscribe(SIGSELECT sigNo, PROCESS sender,
                           const std::weak_ptr<SignalHandler>& handler) = 0;
    virtual bool subscribe(SIGSELECT sigNo, PROCESS sender, uint32_t offset, uint32_t value,
                           const std::weak_ptr<SignalHandler>& handler) = 0;
    virtual bool subscribe(SIGSELECT sigNo, PROCESS sender, const SignalFilter& filter,
                           const std::weak_ptr<SignalHandler>& handler) = 0;
    virtual bool subscribe(SIGSELECT sigNo, uint32_t offset, uint32_t value,
                           const std::weak_ptr<SignalHandler>& handler) = 0;
    virtual bool subscribe(SIGSELECT sigNo, const SignalFilter& filter,
                           const std::weak_ptr<SignalHandler>& handler) = 0;
    /// Removes the first subscription of that function object; false when it has expired.
    virtual bool unsubscribe(SIGSELECT sigNo, const std::weak_ptr<SignalHandler>& handler) = 0;

    /// second - first. Nothing in the load module calls it; it stays for the interface's users.
    virtual int subtract(int first, int second) = 0;

    /// Gives the message to the subscribers of its number, in order of subscription;
    /// true when at least one matched.
    virtual bool handleMessage(const std::shared_ptr<plab::messaging::v1::Message>& message) = 0;

    /// Sets the one monitor; false (traced at level 4) when another is set.
    virtual bool subscribeToSignalProcessingMonitoring(SignalProcessingMonitor& monitor) = 0;
    /// Clears the monitor if it is this one; false (traced at level 4) otherwise.
    virtual bool unsubscribeToSignalProcessingMonitoring(SignalProcessingMonitor& monitor) = 0;
};

/// The process-wide distributor under "SigSubcsrAPIPtrName", made on first use.
SignalDistributorAPI* getSignalDistributorAPI();
/// Deletes the process-wide distributor; nothing when there is none.
void destroySignalDistributorAPI();

#endif  // SIGNAL_DISTRIBUTOR_API_H
