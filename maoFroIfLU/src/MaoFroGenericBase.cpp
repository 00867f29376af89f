#include "MaoFroGenericBase.h"

#include "FroCtrlIf.h"
#include "FroDatabase.h"
#include "FroIdHandler.h"
#include "MaoFroSignalReader.h"
#include "TraniGenericBase.h"
#include "base64.h"
#include "fRO.h"
#include "froMgr.h"
#include "maoFroSignals.h"
#include "signalUtil.h"
#include "transMgr.h"
#include "xmlHandler.h"
#include "zip.h"

#include <algorithm>
#include <cstring>
#include <vector>

using namespace maofro;

namespace {

// A get request older than this many seconds is dropped when the next one for its LDN
// comes in; the fRO did not answer it.
constexpr int kGetRequestTimeout = 30;

// The revision text of MAOFRO_INITIATE_SERVICE_CFM ends at the end of its fixed 132 bytes.
constexpr std::size_t kMaxRevisionLength = kInServCfmSize - kInServCfmData - 1;

// Where the fields of one kind of request lie, and how its failures are told.
struct RequestLayout {
    const char* signalName;  // in the traces
    std::size_t froTypeOffset;
    std::size_t externalFroIdOffset;  // 0: the request carries none
    std::size_t attrCountOffset;
    std::size_t firstAttrOffset;
    bool zippedAllowed;
    const char* countText;  // takes the count when it has a %u
    const char* typeText;
};

const RequestLayout kCreateLayout = {
    "MaoFroCreateReq",
    kCreateReqFroType,
    0,
    kCreateReqAttrCount,
    kCreateReqFirstAttr,
    true,
    "More than one attribute in the MaoFroCreateReq signal, should only be the XML string",
    "The attribute in the MaoFroCreateReq signal isn't in XML format"};
const RequestLayout kSetLayout = {
    "MaoFroSetReq",
    kObjReqFroType,
    kObjReqExternalFroId,
    kObjReqAttrCount,
    kObjReqFirstAttr,
    true,
    "More than one attribute in the MaoFroSetReq signal, should only be the XML string",
    "The attribute in the MaoFroSetReq signal isn't in XML format"};
const RequestLayout kGetLayout = {
    "MaoFroGetReq",
    kObjReqFroType,
    kObjReqExternalFroId,
    kObjReqAttrCount,
    kObjReqFirstAttr,
    true,
    "More than one attribute in the MaoFroGetReq signal, should only be the XML string",
    "The attribute in the MaoFroGetReq signal isn't in XML format"};
const RequestLayout kDeleteLayout = {
    "MaoFroDeleteReq",
    kObjReqFroType,
    kObjReqExternalFroId,
    kObjReqAttrCount,
    kObjReqFirstAttr,
    false,
    "Wrong number of attributes in MAO_FRO_DELETE_REQ, should be 2, is %u",
    "The attribute in the MaoFroDeleteReq signal isn't in XML format"};
const RequestLayout kActionLayout = {
    "MaoFroActionReq",
    kActionReqFroType,
    0,
    kActionReqAttrCount,
    kActionReqFirstAttr,
    true,
    "The number of attributes %u!= 2 in the MaoFroActionReq signal",
    "The attribute in the maoFroActionReq signal isn't in XML format"};

// The transaction id, fRO type and XML of a request, every field read inside the signal.
// The texts are formats chosen by the layout; the count is passed to each of them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
bool extractRequest(const TraceObject* trace, union SIGNAL* sig, const RequestLayout& layout,
                    NcmiSignalData& data) {
    const MaoFroSignalReader reader(sig);
    uint32_t transactionId = 0;
    uint32_t froType = 0;
    uint32_t externalFroId = 0;
    uint32_t count = 0;
    // What is there is kept, so that even the confirm of a cut signal names its transaction.
    const bool complete = reader.u32(kReqTransactionId, transactionId) &&
                          reader.u32(layout.froTypeOffset, froType) &&
                          (layout.externalFroIdOffset == 0 ||
                           reader.u32(layout.externalFroIdOffset, externalFroId)) &&
                          reader.u32(layout.attrCountOffset, count);
    data.transactionId = transactionId;
    data.froType = froType;
    if (!complete) {
        TRACE(trace, 1, "The %s signal of %u bytes is too short for its fields", layout.signalName,
              reader.size());
        return false;
    }
    if (layout.externalFroIdOffset != 0) {
        data.internalFroId =
            FroIdHandler::instance().transformExternalFroIdToInternal(froType, externalFroId);
    }
    if (count != kRequestAttrCount) {
        TRACE(trace, 1, layout.countText, count);
        return false;
    }
    MaoFroAttrHead head{};
    if (!reader.head(layout.firstAttrOffset, head)) {
        TRACE(trace, 1, "The %s signal of %u bytes is too short for its fields", layout.signalName,
              reader.size());
        return false;
    }
    const bool zipped = layout.zippedAllowed && head.attribute == kAttrZippedXml;
    if (head.attribute != kAttrXml && !zipped) {
        TRACE(trace, 1, "%s", layout.typeText);
        return false;
    }
    std::string text;
    if (!reader.stringAttr(layout.firstAttrOffset, text)) {
        TRACE(trace, 1, "The XML attribute of the %s signal does not lie within its %u bytes",
              layout.signalName, reader.size());
        return false;
    }
    data.xmlString = text;
    if (zipped && !MaoFroGenericBase::decodeAndUnzip(data.xmlString)) {
        TRACE(trace, 1, "The zipped XML of the %s signal does not decode", layout.signalName);
        return false;
    }
    return true;
}
#pragma GCC diagnostic pop

// The transaction id of a request, 0 when the signal is too short to hold one.
uint32_t signalTransactionId(union SIGNAL* sig) {
    uint32_t transactionId = 0;
    MaoFroSignalReader(sig).u32(kReqTransactionId, transactionId);
    return transactionId;
}

// The fRO type of a request at that offset, 0 when the signal is too short.
uint32_t signalFroType(union SIGNAL* sig, std::size_t offset) {
    uint32_t froType = 0;
    MaoFroSignalReader(sig).u32(offset, froType);
    return froType;
}

void put32(union SIGNAL* sig, std::size_t offset, uint32_t value) {
    std::memcpy(reinterpret_cast<unsigned char*>(sig) + offset, &value, sizeof value);
}

// Writes a string attribute (head and text with its NUL) at offset; the buffer must have
// room for 12 + the text + 1 bytes.
void putStringAttr(union SIGNAL* sig, std::size_t offset, uint32_t attribute,
                   const std::string& text) {
    const MaoFroAttrHead head{attribute, kTypeString, 0, stringAttrValue(text.size())};
    unsigned char* base = reinterpret_cast<unsigned char*>(sig) + offset;
    std::memcpy(base, &head, sizeof head);
    std::memcpy(base + kAttrDataOffset, text.c_str(), text.size() + 1);
}

// A buffer of that size, zeroed behind its signal number.
union SIGNAL* allocZeroed(OSBUFSIZE size, SIGSELECT sigNo) {
    union SIGNAL* sig = alloc(size, sigNo);
    std::memset(reinterpret_cast<unsigned char*>(sig) + sizeof(SIGSELECT), 0,
                size - sizeof(SIGSELECT));
    return sig;
}

// Cuts a text so that a confirm of size text + overhead stays within the kernel's largest
// buffer; an error text can quote a whole request.
std::string boundedText(const std::string& text, std::size_t overhead) {
    const std::size_t room = OS_MAX_SIGSIZE - overhead;
    return text.size() <= room ? text : text.substr(0, room);
}

void sendSignal(const TraceObject* trace, union SIGNAL* sig, uint32_t to, const char* name) {
    if (!applsupp::signalUtil::send(trace, &sig, to, name)) {
        free_buf(&sig);
    }
}

std::string ldnOf(const fRO* fro) {
    return fro == nullptr ? std::string() : froMgr::instance().getLdn(fro->getFroId());
}

}  // namespace

MaoFroGenericBase::MaoFroGenericBase() : traceObject("MaoFroIfLU"), signalTraceObject("MaoFroIf") {}

MaoFroGenericBase::~MaoFroGenericBase() = default;

// ---- Snapshot answers and action completion -----------------------------------------

void MaoFroGenericBase::snapshotParamUpdated(fRO* fro) {
    snapshotParamUpdated(fro, 0, "");
}

void MaoFroGenericBase::snapshotParamUpdated(fRO* fro, uint32_t result,
                                             const std::string& froErrorText) {
    if (fro == nullptr) {
        TRACE(traceObject, 1, "MaoFroGenericBase::snapshotParamUpdated called without a fRO");
        return;
    }
    const std::string ldn = ldnOf(fro);
    if (result != 0) {
        TRACE(traceObject, 8,
              "Handle Get: Get failed for fRO \"%s\"! Failed to update Snapshot parameters. "
              "result code: %u, errorText = \"%s\".",
              ldn.c_str(), result, froErrorText.c_str());
    }
    collectGetData(ldn, result, froErrorText);
    processPendingGetRequests(ldn);
}

void MaoFroGenericBase::actionCompleted(fRO* fro, const ActionResult& result) {
    auto entry = std::find_if(
        outstandingActions.begin(), outstandingActions.end(), [&](const ActionRequest& request) {
            return request.fro == fro && request.actionName == result.actionName;
        });
    if (entry == outstandingActions.end()) {
        TRACE(traceObject, 1, "Failed to retrieve fRO to send action confirm for, ldn (%s).",
              ldnOf(fro).c_str());
        return;
    }
    const ActionRequest request = *entry;
    outstandingActions.erase(entry);
    if (!request.sendCfm) {
        return;
    }
    uint32_t code = result.result;
    std::string text;
    std::string xml;
    if (code == 0) {
        Attributes attributes;
        for (std::size_t i = 0; i < result.attrNames.size(); ++i) {
            const std::string type = i < result.attrTypes.size() ? result.attrTypes[i] : "";
            const std::string value = i < result.attrValues.size() ? result.attrValues[i] : "";
            attributes.emplace_back(result.attrNames[i], type, value);
        }
        if (!xmlHandler::instance().createXml(ldnOf(fro), request.version, attributes, xml)) {
            code = 1;
            text = "Failed to create xml string for MAOFRO_ACTION_CFM";
            TRACE(traceObject, 1, "Failed to create xml string for MAOFRO_ACTION_CFM");
            xml.clear();
        } else {
            TRACE(traceObject, 8, "xmldata for action confirm: %s", xml.c_str());
        }
    } else {
        text = result.errorText;
    }
    sendActionCfm(code, request.transactionId, request.senderPid, text, xml);
}

// ---- Create -----------------------------------------------------------------------

void MaoFroGenericBase::handleCreateReq(union SIGNAL* sig, uint32_t senderPid) {
    TRACE(traceObject, 2, "MaoFroGenericBase::handleCreateReq(senderPid=%u)", senderPid);
    NcmiSignalData data;
    initNcmiSigData(data, true, senderPid);
    TRACE(traceObject, 8, "Handle Create: froType=%u, TransactionId=%u",
          signalFroType(sig, kCreateReqFroType), signalTransactionId(sig));
    uint32_t code = 1;
    if (!extractCreateReq(sig, data)) {
        data.errorText = "Failed to extract XML data.";
        TRACE(traceObject, 1,
              "MO Create Req failed. Failed to extract XML data from signal MaoFroCreateReq! "
              "froType=%u",
              data.froType);
    } else {
        TRACE(traceObject, 8, "%s", ("Handle Create: xmlstr=\n" + data.xmlString).c_str());
        if (!xmlHandler::instance().parseXml(data.xmlString, data.xmlData)) {
            data.errorText = "Failed to read XML data.Received xmlString:\n" + data.xmlString;
            TRACE(traceObject, 1, "MO Create Req failed. Failed to read XML data: %s",
                  data.xmlString.c_str());
        } else {
            code = handleCreateReq(data);
        }
    }
    if (code != 0) {
        TRACE(traceObject, 8, "Handle Create: Create failed! errorCode = %u, errorText = \"%s\".",
              code, data.errorText.c_str());
    }
    sendCreateCfm(code, data.transactionId, data.externalFroId, data.senderPid, data.errorText);
}

uint32_t MaoFroGenericBase::handleCreateReq(NcmiSignalData& data) {
    const std::string& ldn = data.xmlData.ldn;
    uint32_t code = userCallbackCreateReq_Validate(data, data.errorText);
    if (code != 0) {
        return code;
    }
    if (!TraniGenericBase::registerResource(data.transactionId, data.errorText, traceObject)) {
        TRACE(traceObject, 1,
              "MO Create Req failed on \"%s\":  Failed to register transaction %u to TRANI.",
              ldn.c_str(), data.transactionId);
        return 1;
    }
    int32_t externalFroId = -1;  // 0xFFFFFFFF: the framework chooses the id
    if (!transMgr::instance().createMO(static_cast<int32_t>(data.transactionId), ldn,
                                       data.xmlData.attributes, data.froType, externalFroId)) {
        data.errorText = "Failed to create FRO  " + ldn;
        return 1;
    }
    data.externalFroId = static_cast<uint32_t>(externalFroId);
    setTransactionIdOnfRO(ldn, data.transactionId);
    code = userCallbackCreateReq_AfterTransMgrCreate(data, data.errorText);
    if (code != 0) {
        return code;
    }
    code = userCallbackCreateReq_BeforeDatabase(data, data.errorText);
    if (code != 0) {
        return code;
    }
    if (data.saveToDatabase) {
        FroDatabase* database = FroDatabase::instance();
        database->open();
        TRACE(traceObject, 8, "Handle Create: Creating fRO %s in database", ldn.c_str());
        const bool saved = database->saveFRO(data.transactionId, data.externalFroId, data.froType,
                                             ldn, data.xmlData.attributes);
        database->close();
        if (!saved) {
            data.errorText = "Could not save fRO " + ldn + " to the database.";
            return 1;
        }
    }
    return userCallbackCreateReq_AfterDatabase(data, data.errorText);
}

// ---- Set --------------------------------------------------------------------------

void MaoFroGenericBase::handleSetReq(union SIGNAL* sig, uint32_t senderPid) {
    TRACE(traceObject, 2, "MaoFroGenericBase::handleSetReq(senderPid=%u)", senderPid);
    NcmiSignalData data;
    initNcmiSigData(data, true, senderPid);
    TRACE(traceObject, 8, "Handle Set: froType=%u, TransactionId=%u",
          signalFroType(sig, kObjReqFroType), signalTransactionId(sig));
    uint32_t code = 1;
    if (!extractSetReq(sig, data)) {
        data.errorText = "Failed to extract XML data.";
        TRACE(traceObject, 1,
              "MO set req failed. Failed to extract XML data from signal MaoFroSetReq! froType=%u",
              data.froType);
    } else {
        TRACE(traceObject, 8, "%s", ("Handle Set: xmlstr=\n" + data.xmlString).c_str());
        if (!xmlHandler::instance().parseXml(data.xmlString, data.xmlData)) {
            data.errorText = "Failed to read XML data. Received xmlString:\n" + data.xmlString;
            TRACE(traceObject, 1, "MO Set Req failed. Failed to read XML data: %s",
                  data.xmlString.c_str());
        } else {
            code = handleSetReq(data);
        }
    }
    if (code != 0) {
        TRACE(traceObject, 8, "Handle Set: Set failed! errorCode = %u, errorText = \"%s\".", code,
              data.errorText.c_str());
    }
    sendSetCfm(code, data.transactionId, data.senderPid, data.errorText);
}

uint32_t MaoFroGenericBase::handleSetReq(NcmiSignalData& data) {
    const std::string& ldn = data.xmlData.ldn;
    uint32_t code = userCallbackSetReq_Validate(data, data.errorText);
    if (code != 0) {
        TRACE(traceObject, 8, "MO Set Req failed. Not ok to set fro, error=\"%s\"",
              data.errorText.c_str());
        return code;
    }
    if (!TraniGenericBase::registerResource(data.transactionId, data.errorText, traceObject)) {
        TRACE(traceObject, 1,
              "MO Set Req failed on \"%s\":  Failed to register transaction %u to TRANI.",
              ldn.c_str(), data.transactionId);
        return 1;
    }
    for (const Attribute& attribute : data.xmlData.attributes) {
        if (!transMgr::instance().setMoAttribute(static_cast<int32_t>(data.transactionId), ldn,
                                                 attribute.name, attribute.value)) {
            data.errorText =
                "Failed to set fRO attribute " + attribute.name + " in transMgr for fRO " + ldn;
            return 1;
        }
    }
    setTransactionIdOnfRO(ldn, data.transactionId);
    code = userCallbackSetReq_AfterTransMgrSet(data, data.errorText);
    if (code != 0) {
        return code;
    }
    code = userCallbackSetReq_BeforeDatabase(data, data.errorText);
    if (code != 0) {
        return code;
    }
    if (data.saveToDatabase) {
        const uint32_t externalFroId =
            FroIdHandler::instance().getExternalFroId(data.internalFroId);
        FroDatabase* database = FroDatabase::instance();
        database->open();
        TRACE(traceObject, 8, "Setting attributes for fRO %s in database", ldn.c_str());
        const bool saved = database->saveAttributes(data.transactionId, externalFroId, data.froType,
                                                    data.xmlData.attributes, false);
        database->close();
        if (!saved) {
            data.errorText = "Database failure in setting fRO attributes for fRO " + ldn;
            return 1;
        }
    }
    return userCallbackSetReq_AfterDatabase(data, data.errorText);
}

// ---- Get --------------------------------------------------------------------------

void MaoFroGenericBase::handleGetReq(union SIGNAL* sig, uint32_t senderPid) {
    TRACE(traceObject, 2, "MaoFroGenericBase::handleGetReq(senderPid=%u)", senderPid);
    NcmiSignalData data;
    initNcmiSigData(data, true, senderPid);
    uint32_t code = 1;
    TRACE(traceObject, 8, "Handle Get: froType=%u, TransactionId=%u",
          signalFroType(sig, kObjReqFroType), signalTransactionId(sig));
    if (!extractGetReq(sig, data)) {
        data.errorText = "Failed to extract XML data.";
        TRACE(traceObject, 1,
              "MO Get Req failed. Failed to extract XML data from signal MaoFroGetReq! froType=%u",
              data.froType);
    } else {
        TRACE(traceObject, 8, "%s", ("Handle Get: xmlstr=\n" + data.xmlString).c_str());
        if (!xmlHandler::instance().parseXml(data.xmlString, data.xmlData)) {
            data.errorText = "Failed to read XML data.";
            TRACE(traceObject, 1, "MO Get Req failed. Failed to read XML data: %s",
                  data.xmlString.c_str());
        } else {
            handleGet(data, code);
        }
    }
    if (code != 0) {
        TRACE(traceObject, 8, "Handle Get: Get failed! errorCode = %u, errorText = \"%s\".", code,
              data.errorText.c_str());
        sendGetCfm(code, data.transactionId, "", data.senderPid, data.errorText);
    }
}

void MaoFroGenericBase::handleGet(NcmiSignalData& data, uint32_t& errorCode) {
    const std::string& ldn = data.xmlData.ldn;
    if (transMgr::instance().getfRO(static_cast<int32_t>(data.transactionId), ldn) == nullptr) {
        errorCode = 1;
        data.errorText = "fRO not found.";
        TRACE(traceObject, 1, "MO Get Req failed on \"%s\": fRO does not exist.", ldn.c_str());
        return;
    }
    errorCode = 0;
    GetRequest request;
    request.ldn = ldn;
    request.transactionId = data.transactionId;
    request.senderPid = data.senderPid;
    request.timestamp = std::time(nullptr);
    request.version = data.xmlData.version;
    request.attributes = data.xmlData.attributes;
    if (fROHasOutstandingGetReq(request)) {
        TRACE(traceObject, 8, "Handle Get: Already awaiting snapshot params for fRO \"%s\". ",
              ldn.c_str());
        TRACE(traceObject, 8, "Handle Get: Handle this Get Request when the response is received.");
        pendingGetRequests.push_back(std::move(request));
        return;
    }
    request.timestamp = std::time(nullptr);
    outstandingGetRequests.push_back(std::move(request));
    // The fRO is asked with the request's names as the request holds them; not through the
    // list of outstanding requests, which its answer may change.
    FroCtrlIf* control = dynamic_cast<FroCtrlIf*>(froMgr::instance().getFro(ldn));
    if (control != nullptr && control->updateSnapshotParams(this, data.xmlData.attributes)) {
        TRACE(traceObject, 8, "Handle Get: Snapshot parameters exists for fRO \"%s\"", ldn.c_str());
        return;
    }
    TRACE(traceObject, 8, "Handle Get: Snapshot parameters do not exists for fRO \"%s\"",
          ldn.c_str());
    collectGetData(ldn, 0, "");
}

bool MaoFroGenericBase::fROHasOutstandingGetReq(const GetRequest& request) {
    const std::time_t now = std::time(nullptr);
    for (auto entry = outstandingGetRequests.begin(); entry != outstandingGetRequests.end();) {
        if (entry->ldn != request.ldn) {
            ++entry;
            continue;
        }
        if (now - entry->timestamp < kGetRequestTimeout + 1) {
            return true;
        }
        TRACE(traceObject, 0,
              "fRO %s did not respond to a GET Request within %ds. No response will be sent to "
              "MAO Layer.",
              entry->ldn.c_str(), kGetRequestTimeout);
        entry = outstandingGetRequests.erase(entry);
    }
    return false;
}

void MaoFroGenericBase::collectGetData(const std::string& ldn, uint32_t result,
                                       const std::string& froErrorText) {
    for (std::size_t i = 0; i < outstandingGetRequests.size();) {
        if (outstandingGetRequests[i].ldn != ldn) {
            ++i;
            continue;
        }
        const GetRequest request = std::move(outstandingGetRequests[i]);
        outstandingGetRequests.erase(outstandingGetRequests.begin() +
                                     static_cast<std::ptrdiff_t>(i));
        std::string errorText = froErrorText;
        std::string xml;
        uint32_t code = result;
        if (result == 0) {
            std::vector<std::string> names;
            names.reserve(request.attributes.size());
            for (const Attribute& attribute : request.attributes) {
                names.push_back(attribute.name);
            }
            Attributes attributes;
            if (!transMgr::instance().getMoAttributes(static_cast<int32_t>(request.transactionId),
                                                      ldn, names, attributes, false)) {
                errorText = "Failed to retrieve fRO attributes.";
                TRACE(traceObject, 1, "Failed to retrieve fRO attributes for ldn (%s).",
                      ldn.c_str());
                code = 1;
            } else if (!xmlHandler::instance().createXml(ldn, request.version, attributes, xml)) {
                errorText = "Failed to create xml string for MAOFRO_GET_CFM";
                TRACE(traceObject, 1, "Failed to create xml string for MAOFRO_GET_CFM, ldn=\"%s\"",
                      ldn.c_str());
                code = 1;
                xml.clear();
            } else {
                TRACE(traceObject, 8, "%s", ("xmldata for get confirm: " + xml).c_str());
                code = 0;
            }
        }
        sendGetCfm(code, request.transactionId, xml, request.senderPid, errorText);
    }
}

void MaoFroGenericBase::processPendingGetRequests(const std::string& ldn) {
    for (std::size_t i = 0; i < pendingGetRequests.size();) {
        if (pendingGetRequests[i].ldn != ldn) {
            ++i;
            continue;
        }
        GetRequest request = std::move(pendingGetRequests[i]);
        pendingGetRequests.erase(pendingGetRequests.begin() + static_cast<std::ptrdiff_t>(i));
        if (!handlePendingGetReq(request)) {
            return;
        }
    }
}

bool MaoFroGenericBase::handlePendingGetReq(GetRequest& request) {
    TRACE(traceObject, 2, "MaoFroGenericBase::handlePendingGetReq(senderPid=%u)",
          request.senderPid);
    if (transMgr::instance().getfRO(static_cast<int32_t>(request.transactionId), request.ldn) ==
        nullptr) {
        TRACE(traceObject, 1, "MO Get Req failed on \"%s\": fRO does not exist.",
              request.ldn.c_str());
        sendGetCfm(1, request.transactionId, "", request.senderPid, "fRO not found.");
        return true;
    }
    request.timestamp = std::time(nullptr);
    outstandingGetRequests.push_back(request);
    FroCtrlIf* control = dynamic_cast<FroCtrlIf*>(froMgr::instance().getFro(request.ldn));
    if (control != nullptr && control->updateSnapshotParams(this, request.attributes)) {
        TRACE(traceObject, 8, "Handle Get: Snapshot parameters exists for fRO \"%s\"",
              request.ldn.c_str());
        return false;
    }
    TRACE(traceObject, 8, "Handle Get: Snapshot parameters do not exists for fRO \"%s\"",
          request.ldn.c_str());
    collectGetData(request.ldn, 0, "");
    return true;
}

// ---- Delete -----------------------------------------------------------------------

void MaoFroGenericBase::handleDeleteReq(union SIGNAL* sig, uint32_t senderPid) {
    TRACE(traceObject, 2, "MaoFroGenericBase::handleDeleteReq(senderPid=%u)", senderPid);
    NcmiSignalData data;
    initNcmiSigData(data, true, senderPid);
    TRACE(traceObject, 8, "Handle Delete: froType=%u, TransactionId=%u",
          signalFroType(sig, kObjReqFroType), signalTransactionId(sig));
    uint32_t code = 1;
    if (!extractDeleteReq(sig, data)) {
        data.errorText = "Failed to extract XML data.";
        TRACE(traceObject, 1,
              "MO Delete Req failed. Failed to extract XML data from signal MaoFroDeleteReq! "
              "froType=%u",
              data.froType);
    } else {
        data.xmlData.ldn = transMgr::instance().getLdn(static_cast<int32_t>(data.transactionId),
                                                       static_cast<int32_t>(data.internalFroId));
        code = handleDeleteReq(data);
    }
    if (code != 0) {
        TRACE(traceObject, 8, "Handle Delete: Delete failed! errorCode = %u, errorText = \"%s\".",
              code, data.errorText.c_str());
    }
    sendDeleteCfm(code, data.transactionId, data.senderPid, data.errorText);
}

uint32_t MaoFroGenericBase::handleDeleteReq(NcmiSignalData& data) {
    const std::string& ldn = data.xmlData.ldn;
    const int32_t transactionId = static_cast<int32_t>(data.transactionId);
    if (!TraniGenericBase::registerResource(data.transactionId, data.errorText, traceObject)) {
        TRACE(traceObject, 1,
              "MO Delete Req failed on \"%s\":  Failed to register transaction %u to TRANI.",
              ldn.c_str(), data.transactionId);
        return 1;
    }
    TRACE(traceObject, 8, "Handle Delete: internalFroId: %u, ldn: %s", data.internalFroId,
          ldn.c_str());
    fRO* fro = transMgr::instance().getfRO(transactionId, ldn);
    if (fro == nullptr) {
        data.errorText = "fRO not found.";
        TRACE(traceObject, 1, "MO Delete Req failed on \"%s\": fRO does not exist.", ldn.c_str());
        return 1;
    }
    uint32_t code = userCallbackDeleteReq_Validate(fro, data, data.errorText);
    if (code != 0) {
        return code;
    }
    code = userCallbackDeleteReq_BeforeTransMgrDelete(data, data.errorText);
    if (code != 0) {
        return code;
    }
    const bool deleted = transMgr::instance().deleteMO(transactionId, ldn);
    setTransactionIdOnfRO(ldn, data.transactionId);
    if (!deleted) {
        data.errorText = "Failed to delete MO from froMgr";
        return 1;
    }
    code = userCallbackDeleteReq_AfterTransMgrDelete(data, data.errorText);
    if (code != 0) {
        return code;
    }
    code = userCallbackDeleteReq_BeforeDatabase(data, data.errorText);
    if (code != 0) {
        return code;
    }
    if (data.saveToDatabase) {
        const uint32_t externalFroId =
            FroIdHandler::instance().getExternalFroId(data.internalFroId);
        FroDatabase* database = FroDatabase::instance();
        database->open();
        TRACE(traceObject, 8, "Handle Delete: Deleting fRO %s in database", ldn.c_str());
        database->deleteFRO(data.transactionId, externalFroId, data.froType);
        database->close();
    }
    return userCallbackDeleteReq_AfterDatabase(data, data.errorText);
}

// ---- Actions ----------------------------------------------------------------------

void MaoFroGenericBase::handleActionReqWCfm(union SIGNAL* sig, uint32_t senderPid) {
    handleAction(sig, senderPid, true);
}

void MaoFroGenericBase::handleActionReq(union SIGNAL* sig, uint32_t senderPid) {
    handleAction(sig, senderPid, false);
}

void MaoFroGenericBase::handleAction(union SIGNAL* sig, uint32_t senderPid, bool isRequest) {
    TRACE(traceObject, 2, "MaoFroGenericBase::handleAction(senderPid=0x%x,isRequest=%d)", senderPid,
          isRequest ? 1 : 0);
    NcmiSignalData data;
    initNcmiSigData(data, isRequest, senderPid);
    uint32_t code = 1;
    TRACE(traceObject, 8, "Handle Action: froType=%u, TransactionId=%u",
          signalFroType(sig, kActionReqFroType), signalTransactionId(sig));
    if (!extractActionReq(sig, data)) {
        data.errorText = "Failed to extract XML data from MaoFroActionReq signal.";
        TRACE(traceObject, 1,
              "MO Action Req failed. Failed to extract XML data from signal MaoFroActionReq! "
              "froType=%u",
              data.froType);
    } else {
        TRACE(traceObject, 8, "Handle Action: xmlstr=");
        TRACE(traceObject, 8, "%s", data.xmlString.c_str());
        if (!xmlHandler::instance().parseXml(data.xmlString, data.xmlData)) {
            data.errorText = "Failed to read XML data.";
            TRACE(traceObject, 1, "MO Action Req failed. Failed to read XML data: %s",
                  data.xmlString.c_str());
        } else {
            handleAction(data, code);
        }
    }
    if (code != 0 && isRequest) {
        sendActionCfm(code, signalTransactionId(sig), senderPid, data.errorText, "");
    }
}

void MaoFroGenericBase::handleAction(NcmiSignalData& data, uint32_t& errorCode) {
    errorCode = 1;
    const std::string ldn = data.xmlData.ldn;
    const std::string actionName = data.xmlData.actionName;
    if (data.xmlData.kind != XmlClassData::kindAction) {
        data.errorText =
            "The type of thing to do in the action request was not of type ACTION, it was: " +
            std::to_string(data.xmlData.kind);
        TRACE(traceObject, 1, "MO Action Req \"%s\" failed on \"%s\": Wrong type. (type=%u)",
              actionName.c_str(), ldn.c_str(), data.xmlData.kind);
        return;
    }
    fRO* fro = froMgr::instance().getFro(ldn);
    if (fro == nullptr) {
        data.errorText = "Failed to find the requested fro with ldn: " + ldn;
        TRACE(traceObject, 1, "MO Action Req \"%s\" failed on \"%s\": fRO does not exist.",
              actionName.c_str(), ldn.c_str());
        return;
    }
    if (transMgr::instance().getTransactionId(ldn) != 0) {
        data.errorText = "fRO is already part of a transaction: ";
        TRACE(traceObject, 1,
              "MO Action Req \"%s\" failed on \"%s\": MO already part of a transaction.",
              actionName.c_str(), ldn.c_str());
        return;
    }
    if (const ActionRequest* running = fROHasOutstandingActionReq(fro)) {
        data.errorText = "fRO is already executing an action: " + running->actionName;
        TRACE(traceObject, 1,
              "MO Action Req \"%s\" failed on \"%s\": MO is currently executing action: %s.",
              actionName.c_str(), ldn.c_str(), running->actionName.c_str());
        return;
    }
    errorCode = userCallbackActionReq_Validate(fro, data, data.errorText);
    if (errorCode != 0) {
        return;
    }
    if (data.transactionId != 0) {
        if (!TraniGenericBase::registerResource(data.transactionId, data.errorText, traceObject)) {
            errorCode = 1;
            TRACE(traceObject, 1,
                  "MO Action Req \"%s\" failed on \"%s\":  Failed to register transaction %u to "
                  "TRANI.",
                  actionName.c_str(), ldn.c_str(), data.transactionId);
            return;
        }
        transactionActions.push_back({data.transactionId, ldn, actionName});
        setTransactionIdOnfRO(ldn, data.transactionId);
    }
    const Attributes parameters = data.xmlData.attributes;
    ActionRequest request;
    request.fro = fro;
    request.transactionId = data.transactionId;
    request.senderPid = data.senderPid;
    request.version = data.xmlData.version;
    request.sendCfm = data.sendCfm;
    request.actionName = actionName;
    // In the list before the fRO is called: it may complete the action at once.
    outstandingActions.push_back(request);
    userCallbackActionReq_PerformAction(fro, actionName, parameters);
}

void MaoFroGenericBase::userCallbackActionReq_PerformAction(fRO* fro, const std::string& command,
                                                            const Attributes& parameters) {
    TRACE(traceObject, 2, "MaoFroGenericBase::userCallbackActionReq_PerformAction(command=\"%s\")",
          command.c_str());
    FroCtrlIf* control = dynamic_cast<FroCtrlIf*>(fro);
    if (control != nullptr) {
        control->performAction(command, parameters, this);
        return;
    }
    TRACE(traceObject, 1, "MO action req failed. Failed to execute action \"%s\" on fRO \"%s\".",
          command.c_str(), ldnOf(fro).c_str());
    ActionResult result;
    result.result = 1;
    result.actionName = command;
    result.errorText = "Internal Error! Erroneous fRO implementation class";
    actionCompleted(fro, result);
}

const ActionRequest* MaoFroGenericBase::fROHasOutstandingActionReq(const fRO* fro) const {
    for (const ActionRequest& request : outstandingActions) {
        if (request.fro == fro) {
            return &request;
        }
    }
    return nullptr;
}

void MaoFroGenericBase::handleTraniCommit(uint32_t transactionId) {
    std::vector<TransactionAction> ended;
    auto kept = std::stable_partition(
        transactionActions.begin(), transactionActions.end(),
        [&](const TransactionAction& action) { return action.transactionId != transactionId; });
    ended.assign(kept, transactionActions.end());
    transactionActions.erase(kept, transactionActions.end());
    for (const TransactionAction& action : ended) {
        FroCtrlIf* control = dynamic_cast<FroCtrlIf*>(froMgr::instance().getFro(action.ldn));
        if (control == nullptr) {
            continue;
        }
        TRACE(traceObject, 8, "Calling notifyAfterActionCommit on fRO \"%s\".", action.ldn.c_str());
        control->notifyAfterActionCommit(transactionId, action.actionName);
        setTransactionIdOnfRO(action.ldn, 0);
    }
}

void MaoFroGenericBase::handleTraniRollback(uint32_t transactionId) {
    std::vector<TransactionAction> ended;
    auto kept = std::stable_partition(
        transactionActions.begin(), transactionActions.end(),
        [&](const TransactionAction& action) { return action.transactionId != transactionId; });
    ended.assign(kept, transactionActions.end());
    transactionActions.erase(kept, transactionActions.end());
    for (const TransactionAction& action : ended) {
        FroCtrlIf* control = dynamic_cast<FroCtrlIf*>(froMgr::instance().getFro(action.ldn));
        if (control == nullptr) {
            continue;
        }
        TRACE(traceObject, 8, "Calling notifyAfterActionRollback on fRO \"%s\".",
              action.ldn.c_str());
        control->notifyAfterActionRollback(transactionId, action.actionName);
        setTransactionIdOnfRO(action.ldn, 0);
    }
}

void MaoFroGenericBase::handleTraniServerDown() {
    for (const TransactionAction& action : transactionActions) {
        TRACE(traceObject, 8, "Forgetting action \"%s\" on fRO \"%s\" of lost transaction %u.",
              action.actionName.c_str(), action.ldn.c_str(), action.transactionId);
        setTransactionIdOnfRO(action.ldn, 0);
    }
    transactionActions.clear();
}

// ---- Initiate service -------------------------------------------------------------

void MaoFroGenericBase::handleInServReq(union SIGNAL* sig, uint32_t senderPid) {
    handleInServReq(sig, senderPid, "");
}

void MaoFroGenericBase::handleInServReq(union SIGNAL* sig, uint32_t senderPid,
                                        const std::string& wantedRevision) {
    const MaoFroSignalReader reader(sig);
    uint32_t signalRevision = 0;
    uint32_t count = 0;
    MaoFroAttrHead head{};
    reader.u32(kInServReqRevision, signalRevision);
    const bool complete =
        reader.u32(kInServReqAttrCount, count) && reader.head(kInServReqAttr, head);
    if (!complete || count == 0 || head.attribute != kAttrRevision || head.type != kTypeString) {
        TRACE(traceObject, 1,
              "handleInServReq failed, sigrev: %u, noOfAttributes: %u,  attribute: %u, type: %d",
              signalRevision, count, head.attribute, static_cast<int>(head.type));
        sendInServCfm(false, signalRevision, "", senderPid);
        return;
    }
    const std::string revision = reader.textUpToEnd(kInServReqData);
    if (wantedRevision.empty() || wantedRevision == revision) {
        TRACE(traceObject, 8, "handleInServReq succeeded, wanted str: %s", wantedRevision.c_str());
        sendInServCfm(true, signalRevision, revision, senderPid);
        return;
    }
    TRACE(traceObject, 1, "handleInServReq failed, wanted revision: %s, received revision: %s",
          wantedRevision.c_str(), revision.c_str());
    sendInServCfm(false, signalRevision, revision, senderPid);
}

// ---- User callbacks: nothing to do, go on -----------------------------------------

uint32_t MaoFroGenericBase::userCallbackCreateReq_Validate(NcmiSignalData&, std::string&) {
    return 0;
}
uint32_t MaoFroGenericBase::userCallbackCreateReq_AfterTransMgrCreate(NcmiSignalData&,
                                                                      std::string&) {
    return 0;
}
uint32_t MaoFroGenericBase::userCallbackCreateReq_BeforeDatabase(NcmiSignalData&, std::string&) {
    return 0;
}
uint32_t MaoFroGenericBase::userCallbackCreateReq_AfterDatabase(NcmiSignalData&, std::string&) {
    return 0;
}
uint32_t MaoFroGenericBase::userCallbackSetReq_Validate(NcmiSignalData&, std::string&) {
    return 0;
}
uint32_t MaoFroGenericBase::userCallbackSetReq_AfterTransMgrSet(NcmiSignalData&, std::string&) {
    return 0;
}
uint32_t MaoFroGenericBase::userCallbackSetReq_BeforeDatabase(NcmiSignalData&, std::string&) {
    return 0;
}
uint32_t MaoFroGenericBase::userCallbackSetReq_AfterDatabase(NcmiSignalData&, std::string&) {
    return 0;
}
uint32_t MaoFroGenericBase::userCallbackDeleteReq_Validate(fRO*, NcmiSignalData&, std::string&) {
    return 0;
}
uint32_t MaoFroGenericBase::userCallbackDeleteReq_BeforeTransMgrDelete(NcmiSignalData&,
                                                                       std::string&) {
    return 0;
}
uint32_t MaoFroGenericBase::userCallbackDeleteReq_AfterTransMgrDelete(NcmiSignalData&,
                                                                      std::string&) {
    return 0;
}
uint32_t MaoFroGenericBase::userCallbackDeleteReq_BeforeDatabase(NcmiSignalData&, std::string&) {
    return 0;
}
uint32_t MaoFroGenericBase::userCallbackDeleteReq_AfterDatabase(NcmiSignalData&, std::string&) {
    return 0;
}
uint32_t MaoFroGenericBase::userCallbackActionReq_Validate(fRO*, NcmiSignalData&, std::string&) {
    return 0;
}

// ---- Extraction -------------------------------------------------------------------

bool MaoFroGenericBase::extractCreateReq(union SIGNAL* sig, NcmiSignalData& data) {
    data.internalFroId = 0xFFFFFFFFu;
    return extractRequest(traceObject.get(), sig, kCreateLayout, data);
}

bool MaoFroGenericBase::extractSetReq(union SIGNAL* sig, NcmiSignalData& data) {
    return extractRequest(traceObject.get(), sig, kSetLayout, data);
}

bool MaoFroGenericBase::extractGetReq(union SIGNAL* sig, NcmiSignalData& data) {
    return extractRequest(traceObject.get(), sig, kGetLayout, data);
}

bool MaoFroGenericBase::extractDeleteReq(union SIGNAL* sig, NcmiSignalData& data) {
    return extractRequest(traceObject.get(), sig, kDeleteLayout, data);
}

bool MaoFroGenericBase::extractActionReq(union SIGNAL* sig, NcmiSignalData& data) {
    data.internalFroId = 0;
    return extractRequest(traceObject.get(), sig, kActionLayout, data);
}

// ---- Confirms ---------------------------------------------------------------------

void MaoFroGenericBase::sendCreateCfm(uint32_t result, uint32_t transactionId,
                                      uint32_t externalFroId, uint32_t senderPid,
                                      const std::string& errorText) {
    const bool failed = result != 0;
    const std::string text = boundedText(errorText, createCfmSize(true, 0));
    union SIGNAL* sig = allocZeroed(createCfmSize(failed, text.size()), MAO_FRO_CREATE_CFM);
    put32(sig, kCreateCfmTransactionId, transactionId);
    put32(sig, kCreateCfmExternalFroId, externalFroId);
    put32(sig, kCreateCfmResult, result);
    put32(sig, kCreateCfmAttrCount, failed ? 1 : 0);
    if (failed) {
        putStringAttr(sig, kCreateCfmAttr, kAttrErrorText, text);
    }
    sendSignal(signalTraceObject.get(), sig, senderPid, "MAO_FRO_CREATE_CFM");
}

namespace {

// The confirms of set and delete share their form.
void sendSetOrDeleteCfm(const TraceObject* trace, SIGSELECT sigNo, const char* name,
                        uint32_t result, uint32_t transactionId, uint32_t senderPid,
                        const std::string& errorText) {
    const bool failed = result != 0;
    const std::string text = boundedText(errorText, setDeleteCfmSize(true, 0));
    union SIGNAL* sig = allocZeroed(setDeleteCfmSize(failed, text.size()), sigNo);
    put32(sig, kCfmTransactionId, transactionId);
    put32(sig, kCfmResult, result);
    put32(sig, kCfmAttrCount, failed ? 1 : 0);
    if (failed) {
        putStringAttr(sig, kCfmAttr, kAttrErrorText, text);
    }
    sendSignal(trace, sig, senderPid, name);
}

// The confirms of get and action: one attribute, the error text on failure, the XML on
// success, zipped when it is longer than the limit.
void sendAnswerCfm(const TraceObject* trace, SIGSELECT sigNo, const char* name, uint32_t result,
                   uint32_t transactionId, uint32_t senderPid, const std::string& errorText,
                   const std::string& xml) {
    uint32_t attribute = kAttrErrorText;
    // The text sent: one of the two given, or one made here (zipped, refused or cut).
    const std::string* text = &errorText;
    std::string made;
    if (result == 0) {
        attribute = kAttrXml;
        text = &xml;
        if (xml.size() > kMaxUnzippedXml) {
            made = xml;
            MaoFroGenericBase::zipAndEncode(made);
            text = &made;
            attribute = kAttrZippedXml;
        }
        if (getActionCfmSize(text->size()) > OS_MAX_SIGSIZE) {
            TRACE(trace, 1, "The answer of %zu characters does not fit in %s", text->size(), name);
            result = 1;
            attribute = kAttrErrorText;
            made = std::string("The answer is too large for ") + name;
            text = &made;
        }
    }
    if (text->size() > OS_MAX_SIGSIZE - getActionCfmSize(0)) {
        made = boundedText(*text, getActionCfmSize(0));
        text = &made;
    }
    union SIGNAL* sig = allocZeroed(getActionCfmSize(text->size()), sigNo);
    put32(sig, kCfmTransactionId, transactionId);
    put32(sig, kCfmResult, result);
    put32(sig, kCfmAttrCount, 1);
    putStringAttr(sig, kCfmAttr, attribute, *text);
    sendSignal(trace, sig, senderPid, name);
}

}  // namespace

void MaoFroGenericBase::sendSetCfm(uint32_t result, uint32_t transactionId, uint32_t senderPid,
                                   const std::string& errorText) {
    sendSetOrDeleteCfm(signalTraceObject.get(), MAO_FRO_SET_CFM, "MAO_FRO_SET_CFM", result,
                       transactionId, senderPid, errorText);
}

void MaoFroGenericBase::sendGetCfm(uint32_t result, uint32_t transactionId, const std::string& xml,
                                   uint32_t senderPid, const std::string& errorText) {
    sendAnswerCfm(signalTraceObject.get(), MAO_FRO_GET_CFM, "MAO_FRO_GET_CFM", result,
                  transactionId, senderPid, errorText, xml);
}

void MaoFroGenericBase::sendDeleteCfm(uint32_t result, uint32_t transactionId, uint32_t senderPid,
                                      const std::string& errorText) {
    sendSetOrDeleteCfm(signalTraceObject.get(), MAO_FRO_DELETE_CFM, "MAO_FRO_DELETE_CFM", result,
                       transactionId, senderPid, errorText);
}

void MaoFroGenericBase::sendInServCfm(bool accepted, uint32_t signalRevision,
                                      const std::string& revision, uint32_t senderPid) {
    // The fixed size leaves room for so many characters; a longer revision is cut.
    const std::string text = revision.substr(0, kMaxRevisionLength);
    union SIGNAL* sig = allocZeroed(kInServCfmSize, MAOFRO_INITIATE_SERVICE_CFM);
    put32(sig, kInServCfmRevision, signalRevision);
    put32(sig, kInServCfmResult, accepted ? kInServAccepted : kInServRefused);
    put32(sig, kInServCfmAttrCount, 2);
    const MaoFroAttrHead number{kAttrNumber, kTypeNumber, 0, 0};
    std::memcpy(reinterpret_cast<unsigned char*>(sig) + kInServCfmNumberAttr, &number,
                sizeof number);
    putStringAttr(sig, kInServCfmStringAttr, kAttrRevisionConfirm, text);
    sendSignal(signalTraceObject.get(), sig, senderPid, "MAOFRO_INITIATE_SERVICE_CFM");
}

void MaoFroGenericBase::sendActionCfm(uint32_t result, uint32_t transactionId, uint32_t senderPid,
                                      const std::string& errorText, const std::string& xml) {
    sendAnswerCfm(signalTraceObject.get(), MAO_FRO_ACTION_CFM, "MAO_FRO_ACTION_CFM", result,
                  transactionId, senderPid, errorText, xml);
}

// ---- Helpers ----------------------------------------------------------------------

void MaoFroGenericBase::initNcmiSigData(NcmiSignalData& data, bool sendCfm, uint32_t senderPid) {
    data.sendCfm = sendCfm;
    data.senderPid = senderPid;
    data.transactionId = 0;
    data.froType = 0;
    data.internalFroId = 0;
    data.externalFroId = 0;
    data.xmlString.clear();
    data.internalRequest = false;
}

void MaoFroGenericBase::setTransactionIdOnfRO(const std::string& ldn, uint32_t transactionId) {
    fRO* fro = froMgr::instance().getFro(ldn);
    if (fro != nullptr) {
        fro->setTransactionId(transactionId);
    }
}

bool MaoFroGenericBase::zipAndEncode(std::string& text) {
    std::vector<unsigned char> bytes;
    const bool zipped = applsupp::comm::zip(text, bytes);
    applsupp::comm::encode(bytes, text);
    return zipped;
}

bool MaoFroGenericBase::decodeAndUnzip(std::string& text) {
    std::vector<unsigned char> bytes;
    if (!applsupp::comm::decode(text, bytes)) {
        return false;
    }
    std::string unzipped;
    if (!applsupp::comm::unzip(bytes, unzipped)) {
        return false;
    }
    text = std::move(unzipped);
    return true;
}
