// plab::nameserver::v1::NameServer: publication of services, and subscription to
// the process that provides a service.
#ifndef PLAB_NAMESERVER_V1_NAME_SERVER_H
#define PLAB_NAMESERVER_V1_NAME_SERVER_H

#include "ose.h"

#include <functional>
#include <memory>
#include <string>

namespace plab::nameserver::v1 {

/// Told the service name and the providing process.
using ServiceCallback = std::function<void(const std::string& serviceName, PROCESS pid)>;

// A subscriber is the pair of its two callbacks. They are held weakly: a subscriber
// that lets its callbacks die is no longer called, and needs no unsubscription to
// be safe. Callbacks run in the process that subscribed, from its receive loop.
class NameServer {
  public:
    virtual ~NameServer() = default;
    /// Publishes the calling process under the name; true when the request was sent.
    virtual bool publish(const std::string& serviceName) = 0;
    /// Takes the publication back; true when the request was sent.
    virtual bool unpublish(const std::string& serviceName) = 0;
    /// callbackPublish is told of every provider that comes up (at once if one is
    /// up), callbackUnpublish of every provider that goes away.
    virtual void subscribeToService(const std::string& serviceName,
                                    const std::shared_ptr<ServiceCallback>& callbackPublish,
                                    const std::shared_ptr<ServiceCallback>& callbackUnpublish) = 0;
    /// Ends the subscription of that pair of callbacks.
    virtual void unsubscribeToService(
        const std::string& serviceName, const std::shared_ptr<ServiceCallback>& callbackPublish,
        const std::shared_ptr<ServiceCallback>& callbackUnpublish) = 0;
};

}  // namespace plab::nameserver::v1

#endif  // PLAB_NAMESERVER_V1_NAME_SERVER_H
