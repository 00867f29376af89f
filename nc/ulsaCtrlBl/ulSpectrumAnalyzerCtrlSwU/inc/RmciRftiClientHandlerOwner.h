// RmciRftiClientHandlerOwner: what the analyzer object offers to the two clients of
// its sampling run, the RMCI client (measurement control) and the RFTI client (file
// transfer). Every operation is called from a client's signal handling on the main
// process.
//
// actionFailed and actionSuccess may end the run, and ending the run deletes both
// clients: a client that calls either must return at once and touch none of its
// members afterwards.
#ifndef RMCI_RFTI_CLIENT_HANDLER_OWNER_H
#define RMCI_RFTI_CLIENT_HANDLER_OWNER_H

#include "rftiSig.h"
#include "rmciSig.h"

#include "ose.h"

#include <cstdint>
#include <string>

class RmciRftiClientHandlerOwner {
  public:
    virtual ~RmciRftiClientHandlerOwner() = default;

    /// The action (or the run behind it) has failed with that text and result code.
    virtual void actionFailed(const std::string& text, uint32_t code) = 0;
    /// A step has succeeded: the capability or stop confirmation (in host order), or
    /// null when a file has been uploaded.
    virtual void actionSuccess(union SIGNAL* signal) = 0;
    /// 1 getUlsaSamplingCapability, 2 startUlsaSampling, 3 stopUlsaSampling, 4 none.
    virtual uint32_t currentAction() = 0;
    /// The RMCI configuration is confirmed: make the RFTI client and hunt its server.
    virtual void startRftiClient(const std::string& dcControllerName) = 0;
    /// The radio unit has named a result file: fetch it.
    virtual void startRftiGetResult(uint32_t dataFileRef) = 0;
    /// Keeps the RFTI capabilities and asks the radio unit for a measurement.
    virtual void startRmciMeasurement(const RftiGetCapabilitiesCfm& capabilities) = 0;
    /// The 44 bytes that RMCI_CONFIG_REQ carries, in host order.
    virtual RmciSamplingParameters getSamplingParameters() = 0;
    /// The owner's fRO identity: the client word of every signal of its clients.
    virtual uint32_t getFroId() = 0;
    /// The trigger time of day as the action gave it.
    virtual std::string getTriggerTimeOfDay() = 0;
    /// The power trigger's level as the action gave it.
    virtual uint32_t getPowerLevel() = 0;
    /// Whether a lost connection is being recovered.
    virtual bool isRecovery() = 0;
    virtual void setRecovery(bool recovery) = 0;
    /// The LDN of the RF port of the run.
    virtual std::string getTargetRfPort() = 0;
    /// Where the files go.
    virtual void getFtpParameters(std::string& username, std::string& password,
                                  std::string& ipAddress, std::string& uploadDirectory) = 0;
    /// Sets the attribute info from a failing signal's number and its error code; 0
    /// for a failure found here, with the code as the value.
    virtual void setInfoFromError(uint32_t sigNo, uint32_t errorCode) = 0;
    /// The server's process has gone: 1 the RMCI server, anything else the RFTI server.
    virtual void lostConnection(uint32_t which) = 0;
    /// Set around each upload by the RFTI client.
    virtual void setFtpInProgress(bool inProgress) = 0;
};

#endif  // RMCI_RFTI_CLIENT_HANDLER_OWNER_H
