// maoFroSignals.h: the MAO-FRO signals between the management layer and the load
// module, as wire formats.
//
// Word 0 of every signal is its number. Every field is in the byte order of the
// processor the node runs on (big-endian on the target, the host's own order here),
// with no conversion. The load module's request handlers, its indications and the
// management side (host/mgmt) all read and write these signals through this header, so
// both sides agree byte for byte.
//
// A signal carries a count and then a run of attributes. A string attribute is
//   0 attribute (4)  what the text is: kAttrErrorText, kAttrRevision..., kAttrXml...
//   4 type      (2)  1 for a string
//   6 status    (2)  0
//   8 value     (4)  stringAttrValue(strlen): the text with its NUL, in whole words
//  12 data          the text and its NUL
// A number attribute has the same 12-byte head with type 2 and no data.
#ifndef MAO_FRO_SIGNALS_H
#define MAO_FRO_SIGNALS_H

#include "ose.h"

#include <cstddef>
#include <cstdint>

namespace maofro {

// ---- Signal numbers -------------------------------------------------------------

constexpr SIGSELECT MAOFRO_INITIATE_SERVICE_REQ = 0xB0021;
constexpr SIGSELECT MAOFRO_INITIATE_SERVICE_CFM = 0xB0022;
constexpr SIGSELECT MAOFRO_NOTIFY_SUBSCRIBE_REQ2 = 0xB0024;
constexpr SIGSELECT MAO_FRO_CREATE_REQ = 0xB0061;
constexpr SIGSELECT MAO_FRO_CREATE_CFM = 0xB0062;
constexpr SIGSELECT MAO_FRO_DELETE_REQ = 0xB0063;
constexpr SIGSELECT MAO_FRO_DELETE_CFM = 0xB0064;
constexpr SIGSELECT MAO_FRO_GET_REQ = 0xB0065;
constexpr SIGSELECT MAO_FRO_GET_CFM = 0xB0066;
constexpr SIGSELECT MAO_FRO_SET_REQ = 0xB0067;
constexpr SIGSELECT MAO_FRO_SET_CFM = 0xB0068;
constexpr SIGSELECT MAO_FRO_FAULT_IND = 0xB0070;
constexpr SIGSELECT MAO_FRO_FAULT_CEASED_IND = 0xB0071;
/// An action without a confirm: a failure is told to nobody but the trace.
constexpr SIGSELECT MAO_FRO_ACTION = 0xB0073;
constexpr SIGSELECT MAO_FRO_PARAMETER_CHD_IND = 0xB0074;
/// An action with a confirm, MAO_FRO_ACTION_CFM.
constexpr SIGSELECT MAO_FRO_ACTION_REQ = 0xB0077;
constexpr SIGSELECT MAO_FRO_ACTION_CFM = 0xB0078;
/// The indication handler's own attach signal on a subscriber (size 4).
constexpr SIGSELECT IND_HND_MAO_FRO_ATTACH_IND = 0x1740300;

// ---- Attributes -----------------------------------------------------------------

/// What a string attribute carries (its `attribute` word).
constexpr uint32_t kAttrErrorText = 9;
constexpr uint32_t kAttrRevision = 10;          // the revision in an initiate request
constexpr uint32_t kAttrRevisionConfirm = 14;   // the revision echoed in its confirm
constexpr uint32_t kAttrNumber = 16;            // the number attribute of the confirm
constexpr uint32_t kAttrXml = 21;               // XML as it stands
constexpr uint32_t kAttrZippedXml = 22;         // XML deflated (zlib) and Base64-encoded

/// The `type` word of an attribute.
constexpr uint16_t kTypeString = 1;
constexpr uint16_t kTypeNumber = 2;

/// The head of an attribute; a string attribute's text follows at kAttrDataOffset.
struct MaoFroAttrHead {
    uint32_t attribute;
    uint16_t type;
    uint16_t status;
    uint32_t value;
};
static_assert(sizeof(MaoFroAttrHead) == 12, "attribute head is three words");
static_assert(offsetof(MaoFroAttrHead, type) == 4 && offsetof(MaoFroAttrHead, status) == 6 &&
                  offsetof(MaoFroAttrHead, value) == 8,
              "attribute head layout");
constexpr std::size_t kAttrDataOffset = 12;

/// The `value` of a string attribute of strlen n: the text with its NUL, rounded up to
/// whole words ((n with its two low bits cleared) + 4). Also the length L of the XML
/// field of an indication.
constexpr uint32_t stringAttrValue(std::size_t n) {
    return static_cast<uint32_t>((n & ~std::size_t{3}) + 4);
}
static_assert(stringAttrValue(7) == 8 && stringAttrValue(8) == 12 && stringAttrValue(0) == 4,
              "a text and its NUL in whole words");

/// The maximum number of characters a text may have and still travel as type 21 in a
/// get or action confirm; a longer one is zipped and sent as type 22.
constexpr std::size_t kMaxUnzippedXml = 60000;

// ---- Requests, as read ------------------------------------------------------------
//
// Offsets of the fields that the load module reads. The attribute count must be 2; only
// the first attribute, a string of type 21 or 22, is read.

/// Every request: the transaction id behind the signal number.
constexpr std::size_t kReqTransactionId = 4;

/// MAO_FRO_CREATE_REQ: 8 not read, 12 fRO type, 16 count, 20 first attribute.
constexpr std::size_t kCreateReqFroType = 12;
constexpr std::size_t kCreateReqAttrCount = 16;
constexpr std::size_t kCreateReqFirstAttr = 20;

/// MAO_FRO_SET_REQ, MAO_FRO_GET_REQ, MAO_FRO_DELETE_REQ: 8 external fRO id, 12 not
/// read, 16 fRO type, 20 count, 24 first attribute.
constexpr std::size_t kObjReqExternalFroId = 8;
constexpr std::size_t kObjReqFroType = 16;
constexpr std::size_t kObjReqAttrCount = 20;
constexpr std::size_t kObjReqFirstAttr = 24;

/// MAO_FRO_ACTION, MAO_FRO_ACTION_REQ: 8 and 12 not read, 16 fRO type, 20 not read,
/// 24 count, 28 first attribute.
constexpr std::size_t kActionReqFroType = 16;
constexpr std::size_t kActionReqAttrCount = 24;
constexpr std::size_t kActionReqFirstAttr = 28;

/// The attribute count every request must carry.
constexpr uint32_t kRequestAttrCount = 2;

/// MAOFRO_INITIATE_SERVICE_REQ: 4 signal revision (copied to the confirm), 8..15 not
/// read, 16 attribute count (not 0), 20 attribute head (attribute 10, type 1), 32 the
/// revision string with its NUL.
constexpr std::size_t kInServReqRevision = 4;
constexpr std::size_t kInServReqAttrCount = 16;
constexpr std::size_t kInServReqAttr = 20;
constexpr std::size_t kInServReqData = 32;

// ---- Confirms, as written ---------------------------------------------------------

/// MAOFRO_INITIATE_SERVICE_CFM, 132 bytes: 4 revision of the request, 8 result (1
/// accepted, 3 refused), 12 count 2, 16 number attribute (16, 2, 0, 0), 28 string head
/// (14, 1, 0, value), 40 the revision received with its NUL. Room for 91 characters.
constexpr OSBUFSIZE kInServCfmSize = 132;
constexpr std::size_t kInServCfmRevision = 4;
constexpr std::size_t kInServCfmResult = 8;
constexpr std::size_t kInServCfmAttrCount = 12;
constexpr std::size_t kInServCfmNumberAttr = 16;
constexpr std::size_t kInServCfmStringAttr = 28;
constexpr std::size_t kInServCfmData = 40;
constexpr uint32_t kInServAccepted = 1;
constexpr uint32_t kInServRefused = 3;

/// MAO_FRO_CREATE_CFM: 4 transaction id, 8 external fRO id, 12 result, 16 count (0 on
/// success, 1 on failure), 20 the error text as a type-9 string attribute.
constexpr std::size_t kCreateCfmTransactionId = 4;
constexpr std::size_t kCreateCfmExternalFroId = 8;
constexpr std::size_t kCreateCfmResult = 12;
constexpr std::size_t kCreateCfmAttrCount = 16;
constexpr std::size_t kCreateCfmAttr = 20;
constexpr OSBUFSIZE createCfmSize(bool failed, std::size_t errorTextLength) {
    return static_cast<OSBUFSIZE>(failed ? errorTextLength + 46 : 36);
}

/// MAO_FRO_SET_CFM, MAO_FRO_DELETE_CFM, MAO_FRO_GET_CFM, MAO_FRO_ACTION_CFM: 4
/// transaction id, 8 result, 12 count, 16 the string attribute. Set and delete carry
/// count 0 and no attribute on success; get and action always carry one attribute (9
/// on failure, 21 or 22 on success).
constexpr std::size_t kCfmTransactionId = 4;
constexpr std::size_t kCfmResult = 8;
constexpr std::size_t kCfmAttrCount = 12;
constexpr std::size_t kCfmAttr = 16;
constexpr OSBUFSIZE setDeleteCfmSize(bool failed, std::size_t errorTextLength) {
    return static_cast<OSBUFSIZE>(failed ? errorTextLength + 42 : 32);
}
constexpr OSBUFSIZE getActionCfmSize(std::size_t textLength) {
    return static_cast<OSBUFSIZE>(textLength + 42);
}

// ---- Subscription and indications ---------------------------------------------------

/// MAOFRO_NOTIFY_SUBSCRIBE_REQ2, 16 bytes, no confirm.
struct MaoFroNotifySubscribeReq2 {
    SIGSELECT sigNo;
    uint32_t signalRevision;
    uint32_t clientId;
    uint32_t froType;
};
static_assert(sizeof(MaoFroNotifySubscribeReq2) == 16, "subscribe request layout");

/// MAO_FRO_FAULT_IND, allocated L + 40 (L = stringAttrValue(strlen of the XML)).
struct MaoFroFaultInd {
    SIGSELECT sigNo;
    uint32_t froId;
    uint32_t froType;
    uint32_t specificProblem;  // the fault id
    uint32_t primaryInd;       // 0
    uint32_t noOfAttributes;   // 1
    MaoFroAttrHead attributeArray0;  // 21, 1, 0, L
    char data[4];              // the XML, NUL-padded to L bytes
};
static_assert(offsetof(MaoFroFaultInd, attributeArray0) == 24 &&
                  offsetof(MaoFroFaultInd, data) == 36,
              "fault indication layout");
constexpr OSBUFSIZE faultIndSize(uint32_t l) { return static_cast<OSBUFSIZE>(l + 40); }

/// MAO_FRO_FAULT_CEASED_IND, allocated L + 36.
struct MaoFroFaultCeasedInd {
    SIGSELECT sigNo;
    uint32_t froId;
    uint32_t froType;
    uint32_t specificProblem;
    uint32_t noOfAttributes;  // 1
    MaoFroAttrHead attributeArray0;
    char data[4];
};
static_assert(offsetof(MaoFroFaultCeasedInd, attributeArray0) == 20 &&
                  offsetof(MaoFroFaultCeasedInd, data) == 32,
              "fault ceased indication layout");
constexpr OSBUFSIZE faultCeasedIndSize(uint32_t l) { return static_cast<OSBUFSIZE>(l + 36); }

/// MAO_FRO_PARAMETER_CHD_IND, allocated L + 32.
struct MaoFroParameterChdInd {
    SIGSELECT sigNo;
    uint32_t froId;
    uint32_t froType;
    uint32_t noOfAttributes;  // 1
    MaoFroAttrHead attributeArray0;
    char data[4];
};
static_assert(offsetof(MaoFroParameterChdInd, attributeArray0) == 16 &&
                  offsetof(MaoFroParameterChdInd, data) == 28,
              "parameter changed indication layout");
constexpr OSBUFSIZE parameterChdIndSize(uint32_t l) { return static_cast<OSBUFSIZE>(l + 32); }

}  // namespace maofro

#endif  // MAO_FRO_SIGNALS_H
