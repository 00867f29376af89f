// IndHandlerApi: the published interfaces of the indication handler.
//
// Two versions stand side by side: IndHandlerApi (version 0) and
// gff::v1::IndHandlerApi (version 1), which has every operation of version 0 in the
// same order and adds sendFaultInd2 with a numeric severity. Each version has a getter
// and a releaser. Both versions share the one process-wide IndHandler: it is made by
// the first getter and deleted when the last version in use is released. Releasing a
// version forgets the observers registered through it.
//
// A pid of 0 sends an indication to every subscriber of the froType; any other pid to
// that process alone, subscribed or not. Nothing here reports a failure: an
// indication to a process that has ended is lost.
#ifndef IND_HANDLER_API_H
#define IND_HANDLER_API_H

#include "Attribute.h"
#include "IndHandlerObserverIf.h"
#include "IndHandlerTypes.h"
#include "ose.h"

#include <cstdint>
#include <string>

class IndHandlerApi {
  public:
    virtual ~IndHandlerApi() = default;

    /// Subscribes the handler's signals at the signal distributor.
    virtual void init() = 0;
    /// Adds an observer of new subscribers; not owned.
    virtual void registerClient(IndHandlerObserverIf* observer) = 0;
    /// Removes an observer added through this interface version.
    virtual void deregisterClient(IndHandlerObserverIf* observer) = 0;
    /// The subscriptions of that process, in (froType, pid) order.
    virtual void getSubscriptions(uint32_t pid, IndSubscriptions& subscriptions) = 0;
    /// Handles a subscribe request or the death of a subscriber; never keeps the buffer.
    virtual void handleSignal(union SIGNAL** sig) = 0;
    /// A fault indication to pid, or to every subscriber of froType when pid is 0.
    virtual void sendFaultInd(uint32_t froId, uint32_t froType, const std::string& ldn,
                              int32_t faultId, const std::string& faultIdLogical,
                              const std::string& faultDescription,
                              const AdditionalData& additionalData, const std::string& severity,
                              int32_t eventId, uint32_t pid) = 0;
    /// A fault indication to every subscriber of froType.
    virtual void sendFaultInd(uint32_t froId, uint32_t froType, const std::string& ldn,
                              int32_t faultId, const std::string& faultIdLogical,
                              const std::string& faultDescription,
                              const AdditionalData& additionalData, const std::string& severity,
                              int32_t eventId) = 0;
    /// A parameter indication of the attributes, in order, to every subscriber of froType.
    virtual void sendParamChdInd(uint32_t froId, uint32_t froType, const std::string& ldn,
                                 const Attributes& attributes) = 0;
    /// A parameter indication of the attributes to pid, or to all subscribers when 0.
    virtual void sendParamChdInd(uint32_t froId, uint32_t froType, const std::string& ldn,
                                 const Attributes& attributes, uint32_t pid) = 0;
    /// A parameter indication of typed attributes, in name order, to every subscriber.
    virtual void sendParamChdInd(uint32_t froId, uint32_t froType, const std::string& ldn,
                                 const GenericAttributeMap& attributes) = 0;
    /// A parameter indication of typed attributes to pid, or to all subscribers when 0.
    virtual void sendParamChdInd(uint32_t froId, uint32_t froType, const std::string& ldn,
                                 const GenericAttributeMap& attributes, uint32_t pid) = 0;
    /// A fault-ceased indication to every subscriber of froType.
    virtual void sendFaultCeasedInd(uint32_t froId, uint32_t froType, const std::string& ldn,
                                    int32_t faultId, const std::string& faultIdLogical) = 0;
    /// handleSignal for an application that receives the signals in its own loop; true.
    virtual bool maoFroEvent(union SIGNAL** sig) = 0;
};

/// Version 0 of the interface; makes the process-wide IndHandler on first use.
IndHandlerApi* getIndHandlerApi();
/// Releases version 0: its observers are forgotten, and the IndHandler ends when
/// version 1 is not in use either.
void releaseIndHandlerApi();

namespace gff {
namespace v1 {

class IndHandlerApi : public ::IndHandlerApi {
  public:
    /// sendFaultInd with the severity as a number: 1 "LOW", 2 "HIGH", others none.
    virtual void sendFaultInd2(uint32_t froId, uint32_t froType, const std::string& ldn,
                               int32_t faultId, const std::string& faultIdLogical,
                               const std::string& faultDescription,
                               const AdditionalData& additionalData, int32_t severity,
                               int32_t eventId, uint32_t pid) = 0;
    /// sendFaultInd2 to every subscriber of froType.
    virtual void sendFaultInd2(uint32_t froId, uint32_t froType, const std::string& ldn,
                               int32_t faultId, const std::string& faultIdLogical,
                               const std::string& faultDescription,
                               const AdditionalData& additionalData, int32_t severity,
                               int32_t eventId) = 0;
};

/// Version 1 of the interface; makes the process-wide IndHandler on first use.
IndHandlerApi* getIndHandlerApi();
/// Releases version 1: its observers are forgotten, and the IndHandler ends when
/// version 0 is not in use either.
void releaseIndHandlerApi();

}  // namespace v1
}  // namespace gff

#endif  // IND_HANDLER_API_H
