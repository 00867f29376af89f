#include "MaoFroCodec.h"

#include "maoFroSignals.h"
#include "xmlHandler.h"
#include "xmlStringUtils.h"

namespace mgmt {

using namespace maofro;

namespace {

constexpr const char* kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n";

void putU32(union SIGNAL* signal, std::size_t offset, uint32_t value) {
    std::memcpy(reinterpret_cast<unsigned char*>(signal) + offset, &value, sizeof value);
}

// A string attribute head and its text with the NUL, at offset; the caller sized the
// signal for stringAttrValue(text.size()) bytes of data.
void putStringAttr(union SIGNAL* signal, std::size_t offset, uint32_t attrWord,
                   const std::string& text) {
    MaoFroAttrHead head{attrWord, kTypeString, 0, stringAttrValue(text.size())};
    unsigned char* at = reinterpret_cast<unsigned char*>(signal) + offset;
    std::memcpy(at, &head, sizeof head);
    std::memcpy(at + kAttrDataOffset, text.c_str(), text.size() + 1);
}

// Where a request's fields lie.
struct RequestLayout {
    std::size_t froType;
    std::size_t externalFroId;  // 0: not carried
    std::size_t count;
    std::size_t attr;
};

RequestLayout layoutOf(Request::Kind kind) {
    switch (kind) {
        case Request::Kind::create:
            return {kCreateReqFroType, 0, kCreateReqAttrCount, kCreateReqFirstAttr};
        case Request::Kind::action:
        case Request::Kind::actionWithConfirm:
            return {kActionReqFroType, 0, kActionReqAttrCount, kActionReqFirstAttr};
        default:
            return {kObjReqFroType, kObjReqExternalFroId, kObjReqAttrCount, kObjReqFirstAttr};
    }
}

bool appendAttribute(const Attribute& attribute, std::string& out) {
    if (xmlHandler::isPrimitiveType(attribute.type)) {
        out += "<attr name=\"" + escapeXml(attribute.name) + "\" type=\"" + attribute.type +
               "\" value=\"" + escapeXml(attribute.value) + "\"/>\n";
        return true;
    }
    if (xmlHandler::isDerivedType(attribute.type)) {
        out += attribute.value;  // the whole element, as the node writes it
        return true;
    }
    return false;
}

std::string classOpen(const std::string& version, const FroRef& fro) {
    return std::string(kDeclaration) + "<mim version=\"" + escapeXml(version) + "\">\n<class ldn=\"" +
           escapeXml(fro.ldn) + "\">\n";
}

const char* kClassClose = "</class>\n</mim>";

// The text of a string attribute where the confirm must carry one; what the kinds mean.
void readConfirmText(const SignalBytes& bytes, std::size_t offset, bool xmlAllowed,
                     Confirm& confirm) {
    StringAttr attr;
    std::string why;
    if (!readStringAttr(bytes, offset, attr, why)) {
        confirm.outcome = Outcome::malformed;
        confirm.errorText = why;
        return;
    }
    if (attr.attribute == kAttrErrorText) {
        confirm.errorText = attr.text;
    } else if (xmlAllowed && attr.attribute == kAttrXml) {
        confirm.xml = attr.text;
    } else if (xmlAllowed && attr.attribute == kAttrZippedXml) {
        confirm.zipped = true;
        if (!decodeAndUnzip(attr.text, confirm.xml)) {
            confirm.outcome = Outcome::malformed;
            confirm.errorText = "the zipped XML (type 22) does not decode and inflate";
            return;
        }
    } else {
        confirm.outcome = Outcome::malformed;
        confirm.errorText = "an attribute of kind " + std::to_string(attr.attribute) +
                            " where the confirm carries an error text" +
                            (xmlAllowed ? " or XML" : "");
        return;
    }
    confirm.outcome = Outcome::answered;
}

}  // namespace

bool SignalBytes::text(std::size_t offset, std::size_t limit, std::string& value) const {
    if (offset >= m_size)
        return false;
    const std::size_t room = std::min<std::size_t>(m_size - offset, limit);
    const void* end = std::memchr(m_bytes + offset, '\0', room);
    if (end == nullptr)
        return false;
    value.assign(reinterpret_cast<const char*>(m_bytes + offset),
                 static_cast<const unsigned char*>(end) - (m_bytes + offset));
    return true;
}

bool readStringAttr(const SignalBytes& bytes, std::size_t offset, StringAttr& attr,
                    std::string& why) {
    uint16_t type = 0;
    uint32_t value = 0;
    if (!bytes.u32(offset, attr.attribute) || !bytes.u16(offset + 4, type) ||
        !bytes.u32(offset + 8, value)) {
        why = "a signal of " + std::to_string(bytes.size()) + " bytes too short for its attribute";
        return false;
    }
    if (type != kTypeString) {
        why = "an attribute of type " + std::to_string(type) + " where a string is carried";
        return false;
    }
    if (!bytes.text(offset + kAttrDataOffset, value, attr.text)) {
        why = "a text without its NUL within its length (" + std::to_string(value) +
              ") and the signal (" + std::to_string(bytes.size()) + " bytes)";
        return false;
    }
    return true;
}

SIGSELECT requestNumber(Request::Kind kind) {
    switch (kind) {
        case Request::Kind::create: return MAO_FRO_CREATE_REQ;
        case Request::Kind::set: return MAO_FRO_SET_REQ;
        case Request::Kind::get: return MAO_FRO_GET_REQ;
        case Request::Kind::remove: return MAO_FRO_DELETE_REQ;
        case Request::Kind::action: return MAO_FRO_ACTION;
        case Request::Kind::actionWithConfirm: return MAO_FRO_ACTION_REQ;
    }
    return 0;
}

SIGSELECT confirmNumber(Request::Kind kind) {
    switch (kind) {
        case Request::Kind::create: return MAO_FRO_CREATE_CFM;
        case Request::Kind::set: return MAO_FRO_SET_CFM;
        case Request::Kind::get: return MAO_FRO_GET_CFM;
        case Request::Kind::remove: return MAO_FRO_DELETE_CFM;
        case Request::Kind::action: return 0;
        case Request::Kind::actionWithConfirm: return MAO_FRO_ACTION_CFM;
    }
    return 0;
}

const char* signalName(SIGSELECT number) {
    switch (number) {
        case MAOFRO_INITIATE_SERVICE_CFM: return "MAOFRO_INITIATE_SERVICE_CFM";
        case MAO_FRO_CREATE_CFM: return "MAO_FRO_CREATE_CFM";
        case MAO_FRO_SET_CFM: return "MAO_FRO_SET_CFM";
        case MAO_FRO_GET_CFM: return "MAO_FRO_GET_CFM";
        case MAO_FRO_DELETE_CFM: return "MAO_FRO_DELETE_CFM";
        case MAO_FRO_ACTION_CFM: return "MAO_FRO_ACTION_CFM";
        default: return "answer";
    }
}

union SIGNAL* buildRequest(const Request& request, uint32_t attrWord, const std::string& text) {
    const RequestLayout layout = layoutOf(request.kind);
    const std::size_t size = layout.attr + kAttrDataOffset + stringAttrValue(text.size());
    if (size > OS_MAX_SIGSIZE)
        return nullptr;
    union SIGNAL* signal = alloc(static_cast<OSBUFSIZE>(size), requestNumber(request.kind));
    std::memset(reinterpret_cast<unsigned char*>(signal) + 4, 0, size - 4);
    putU32(signal, kReqTransactionId, request.transactionId);
    if (layout.externalFroId != 0)
        putU32(signal, layout.externalFroId, request.externalFroId);
    putU32(signal, layout.froType, request.froType);
    // The count the node requires; only the first attribute, the XML, is read.
    putU32(signal, layout.count, kRequestAttrCount);
    putStringAttr(signal, layout.attr, attrWord, text);
    return signal;
}

union SIGNAL* buildInitiate(uint32_t signalRevision, const std::string& revision) {
    const std::size_t size = kInServReqData + stringAttrValue(revision.size());
    union SIGNAL* signal = alloc(static_cast<OSBUFSIZE>(size), MAOFRO_INITIATE_SERVICE_REQ);
    std::memset(reinterpret_cast<unsigned char*>(signal) + 4, 0, size - 4);
    putU32(signal, kInServReqRevision, signalRevision);
    putU32(signal, kInServReqAttrCount, 1);
    putStringAttr(signal, kInServReqAttr, kAttrRevision, revision);
    return signal;
}

void decodeConfirm(Request::Kind kind, const SignalBytes& bytes, Confirm& confirm) {
    const bool isCreate = kind == Request::Kind::create;
    const bool carriesXml = kind == Request::Kind::get || kind == Request::Kind::actionWithConfirm;
    const std::size_t resultAt = isCreate ? kCreateCfmResult : kCfmResult;
    const std::size_t countAt = isCreate ? kCreateCfmAttrCount : kCfmAttrCount;
    const std::size_t attrAt = isCreate ? kCreateCfmAttr : kCfmAttr;
    uint32_t count = 0;
    if (!bytes.u32(kReqTransactionId, confirm.transactionId) ||
        !bytes.u32(resultAt, confirm.result) || !bytes.u32(countAt, count) ||
        (isCreate && !bytes.u32(kCreateCfmExternalFroId, confirm.externalFroId))) {
        confirm.outcome = Outcome::malformed;
        confirm.errorText = std::string(signalName(confirmNumber(kind))) + " of " +
                            std::to_string(bytes.size()) + " bytes is too short";
        return;
    }
    if (count == 0) {
        // Create, set and delete carry no attribute on success; get and action always one.
        confirm.outcome = carriesXml ? Outcome::malformed : Outcome::answered;
        if (carriesXml)
            confirm.errorText = std::string(signalName(confirmNumber(kind))) + " without its attribute";
        return;
    }
    readConfirmText(bytes, attrAt, carriesXml, confirm);
    if (confirm.outcome != Outcome::answered || confirm.xml.empty())
        return;
    if (!xmlHandler::instance().parseXml(confirm.xml, confirm.data)) {
        confirm.outcome = Outcome::malformed;
        confirm.errorText = "the confirm's XML does not read as a mim document";
    }
}

void decodeInitiate(const SignalBytes& bytes, InitiateConfirm& confirm) {
    uint32_t result = 0;
    uint32_t count = 0;
    StringAttr attr;
    std::string why;
    if (!bytes.u32(kInServCfmRevision, confirm.signalRevision) ||
        !bytes.u32(kInServCfmResult, result) || !bytes.u32(kInServCfmAttrCount, count)) {
        confirm.outcome = Outcome::malformed;
        confirm.errorText = "MAOFRO_INITIATE_SERVICE_CFM of " + std::to_string(bytes.size()) +
                            " bytes is too short";
        return;
    }
    if (result != kInServAccepted && result != kInServRefused) {
        confirm.outcome = Outcome::malformed;
        confirm.errorText = "MAOFRO_INITIATE_SERVICE_CFM with result " + std::to_string(result);
        return;
    }
    if (count < 2 || !readStringAttr(bytes, kInServCfmStringAttr, attr, why)) {
        confirm.outcome = Outcome::malformed;
        confirm.errorText = count < 2 ? "MAOFRO_INITIATE_SERVICE_CFM without its revision" : why;
        return;
    }
    confirm.outcome = Outcome::answered;
    confirm.accepted = result == kInServAccepted;
    confirm.revision = attr.text;
}

bool decodeIndication(SIGSELECT number, const SignalBytes& bytes, Indication& indication,
                      std::string& why) {
    std::size_t countAt = 0;
    switch (number) {
        case MAO_FRO_FAULT_IND:
            indication.kind = Indication::Kind::fault;
            countAt = offsetof(MaoFroFaultInd, noOfAttributes);
            break;
        case MAO_FRO_FAULT_CEASED_IND:
            indication.kind = Indication::Kind::faultCeased;
            countAt = offsetof(MaoFroFaultCeasedInd, noOfAttributes);
            break;
        default:
            indication.kind = Indication::Kind::parameterChanged;
            countAt = offsetof(MaoFroParameterChdInd, noOfAttributes);
            break;
    }
    uint32_t count = 0;
    const bool fault = indication.kind != Indication::Kind::parameterChanged;
    if (!bytes.u32(4, indication.froId) || !bytes.u32(8, indication.froType) ||
        (fault && !bytes.u32(12, indication.specificProblem)) || !bytes.u32(countAt, count)) {
        why = "an indication of " + std::to_string(bytes.size()) + " bytes is too short";
        return false;
    }
    if (count < 1) {
        why = "an indication without its XML";
        return false;
    }
    StringAttr attr;
    if (!readStringAttr(bytes, countAt + 4, attr, why))
        return false;
    if (attr.attribute != kAttrXml) {
        why = "an indication whose attribute is of kind " + std::to_string(attr.attribute);
        return false;
    }
    indication.xml = attr.text;
    indication.parsed = xmlHandler::instance().parseXml(indication.xml, indication.data);
    return true;
}

bool createOrSetXml(const std::string& version, const FroRef& fro, const Attributes& attributes,
                    std::string& out) {
    return xmlHandler::instance().createXml(fro.ldn, version, attributes, out);
}

std::string getXml(const std::string& version, const FroRef& fro,
                   const std::vector<std::string>& names) {
    std::string out = classOpen(version, fro);
    for (const std::string& name : names)
        out += "<attr name=\"" + escapeXml(name) + "\"/>\n";
    return out + kClassClose;
}

std::string deleteXml(const std::string& version, const FroRef& fro) {
    return classOpen(version, fro) + kClassClose;
}

bool actionXml(const std::string& version, const FroRef& fro, const std::string& name,
               const Attributes& parameters, std::string& out) {
    out = classOpen(version, fro) + "<action name=\"" + escapeXml(name) + "\">\n";
    for (const Attribute& parameter : parameters) {
        if (!appendAttribute(parameter, out))
            return false;
    }
    out += "</action>\n";
    out += kClassClose;
    return true;
}

}  // namespace mgmt
