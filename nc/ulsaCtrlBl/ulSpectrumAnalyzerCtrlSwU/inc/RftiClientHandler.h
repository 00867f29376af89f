// RftiClientHandler: the client of the radio unit's file-transfer service (RFTI), as
// the analyzer object drives it. It connects to "<dcControllerName>/RftServer",
// fetches each result file block by block, checks it and hands it to the upload;
// outcomes go to its RmciRftiClientHandlerOwner.
#ifndef RFTI_CLIENT_HANDLER_H
#define RFTI_CLIENT_HANDLER_H

#include "rftiSig.h"

#include <cstdint>
#include <functional>
#include <string>

class RmciRftiClientHandlerOwner;

class RftiClientHandler {
  public:
    virtual ~RftiClientHandler() = default;

    /// Clears the connection state and subscribes the client's signals.
    virtual void init() = 0;
    /// Hunts "<dcControllerName>/RftServer" and connects to it.
    virtual void huntRftiServer(const std::string& dcControllerName) = 0;
    /// Fetches the result file in blocks of that size.
    virtual void getResult(uint32_t dataFileRef, uint32_t blockSize) = 0;
    /// The upload of the file has ended; text says why when it failed.
    virtual void ftpDone(bool ok, const std::string& text) = 0;
    /// The first 24 bytes of the last RFTI_GET_CAPABILITIES_CFM, kept for later.
    virtual RftiGetCapabilitiesCfm getRftiCapabilities() = 0;
};

/// Makes the RFTI client of an owner; null when none can be made.
using RftiClientFactory = std::function<RftiClientHandler*(RmciRftiClientHandlerOwner*)>;

/// The factory of this build. The RFTI client's implementation is not part of it: it
/// traces so at level 1 and gives null, which fails the action that needs it.
RftiClientHandler* defaultRftiClientFactory(RmciRftiClientHandlerOwner* owner);

#endif  // RFTI_CLIENT_HANDLER_H
