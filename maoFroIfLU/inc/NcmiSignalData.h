// NcmiSignalData: the working copy of one MAO-FRO request while it is handled.
#ifndef NCMI_SIGNAL_DATA_H
#define NCMI_SIGNAL_DATA_H

#include "XmlClassData.h"

#include <cstdint>
#include <string>

struct NcmiSignalData {
    /// The platform transaction of the request; 0 for an action outside any transaction.
    uint32_t transactionId = 0;
    /// The numeric fRO type of the signal.
    uint32_t froType = 0;
    /// The complete fRO id; 0xFFFFFFFF in a create request, 0 in an action.
    uint32_t internalFroId = 0;
    /// The id transMgr gave a created fRO; filled in by a create only.
    uint32_t externalFroId = 0;
    /// The process to confirm to.
    uint32_t senderPid = 0;
    /// Whether the request wants a confirm.
    bool sendCfm = false;
    /// The payload as received, unzipped when it came zipped.
    std::string xmlString;
    /// Not set by anything here; kept for the applications.
    bool internalRequest = false;
    /// The confirm's text on failure.
    std::string errorText;
    /// The parsed payload.
    XmlClassData xmlData;
    /// Cleared by a user callback to skip the write-through to the database.
    bool saveToDatabase = true;
};

#endif  // NCMI_SIGNAL_DATA_H
