// applsupp::signaldistributor::v2::SignalDistributorAPI: the subscriptions of handlers
// of version-2 messages, on the same distributor as ::SignalDistributorAPI.
#ifndef APPLSUPP_SIGNALDISTRIBUTOR_V2_SIGNAL_DISTRIBUTOR_API_H
#define APPLSUPP_SIGNALDISTRIBUTOR_V2_SIGNAL_DISTRIBUTOR_API_H

#include "SignalDistributorAPI.h"
#include "plab/messaging/v2/Message.h"

#include <functional>
#include <memory>

namespace applsupp::signaldistributor::v2 {

/// A version-2 handler; it may take the buffer over with release().
using SignalHandler = std::function<void(std::shared_ptr<plab::messaging::v2::Message>)>;

// The rules of ::SignalDistributorAPI hold for these forms too.
class SignalDistributorAPI {
  public:
    virtual ~SignalDistributorAPI() = default;

    /// The handler subscriptions of ::SignalDistributorAPI, for version-2 handlers.
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

    /// Dispatches a version-2 message exactly as a version-1 one; false when the message
    /// has no version-1 view.
    virtual bool handleMessage(const std::shared_ptr<plab::messaging::v2::Message>& message) = 0;
};

/// The process-wide distributor, seen through its version-2 interface; made on first use.
SignalDistributorAPI* getSignalDistributorAPI();

}  // namespace applsupp::signaldistributor::v2

#endif  // APPLSUPP_SIGNALDISTRIBUTOR_V2_SIGNAL_DISTRIBUTOR_API_H
