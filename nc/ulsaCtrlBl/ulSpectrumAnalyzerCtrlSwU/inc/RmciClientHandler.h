// RmciClientHandler: the client of the radio unit's measurement service (RMCI), as
// the analyzer object drives it. It finds the radio unit through the unit's status
// service, connects to "<dcControllerName>/RmcServer", reports the capabilities and
// runs measurements; outcomes go to its RmciRftiClientHandlerOwner.
#ifndef RMCI_CLIENT_HANDLER_H
#define RMCI_CLIENT_HANDLER_H

#include <cstdint>
#include <functional>
#include <string>

class RmciRftiClientHandlerOwner;

class RmciClientHandler {
  public:
    virtual ~RmciClientHandler() = default;

    /// Clears the connection state and subscribes the client's signals.
    virtual void init() = 0;
    /// Subscribes to the unit status service of the radio unit of that LDN.
    virtual void subscribeToService(const std::string& ldn) = 0;
    /// Asks for one measurement of that type on the port (1 "A" to 8 "H").
    virtual void startRmciMeasurement(uint32_t measurementType, uint32_t portId) = 0;
    /// Stops the measurement on the port.
    virtual void stopUlsaSampling(uint32_t portId) = 0;
    /// "KGM_IW_USI:" and the LDN, with "ManagedElement=1," in front when it lacks it.
    virtual std::string getServiceName(const std::string& ldn) = 0;
    /// Ends the subscription to the unit status service of that name.
    virtual void unsubscribeFromService(const std::string& serviceName) = 0;
    /// Whether a successful RMCI_MEASURE_IND has come since the flag was cleared.
    virtual bool isMeasurementIndReceived() = 0;
    virtual void setMeasurementIndReceived(bool received) = 0;
};

/// Makes the RMCI client of an owner; null when none can be made.
using RmciClientFactory = std::function<RmciClientHandler*(RmciRftiClientHandlerOwner*)>;

/// The factory of this build: makes an RmciClientHandlerImpl for the owner.
RmciClientHandler* defaultRmciClientFactory(RmciRftiClientHandlerOwner* owner);

#endif  // RMCI_CLIENT_HANDLER_H
