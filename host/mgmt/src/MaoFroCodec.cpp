#include "MaoFroCodec.h"

#include "maoFroSignals.h"
#include "xmlHandler.h"
#include "xmlStringUtils.h"

#include <string_view>
#include <utility>

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

std::string classOpen(const std::string& version, const FroRef& fro, std::size_t room = 0) {
    std::string out;
    out.reserve(std::strlen(kDeclaration) + version.size() + fro.ldn.size() + 64 + room);
    out += kDeclaration;
    out += "<mim version=\"";
    appendEscapedXml(version, out);
    out += "\">\n<class ldn=\"";
    appendEscapedXml(fro.ldn, out);
    out += "\">\n";
    return out;
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
        confirm.xml = std::move(attr.text);
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

// A strict reader of the documents the node writes: the declaration as written by
// xmlHandler::createXml, "mim" with its "class", and below it "attr" elements and
// struct, array and moref elements as elementToXml writes them, or one "action" or
// "fault" element holding such. It takes only a narrow form whose reading by the
// parser is plain: ASCII text, double-quoted attribute values with the five named
// entities, white space between elements, no comments, text, or other markup, and the
// end of the text after the root. On anything else it gives up without a result (read()
// gives false) and parseXml reads the text; so it never refuses a document itself.
// Nesting is bounded by kMaxDepth, attributes of an element by kMaxAttributes.
class StrictConfirmReader {
  public:
    explicit StrictConfirmReader(const std::string& text)
        : m_p(text.data()), m_end(text.data() + text.size()) {}

    /// The record as parseXml gives it on success; false when the text is not of the form.
    bool read(XmlClassData& record) {
        static const char kDeclarationLine[] = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>";
        if (!literal(kDeclarationLine))
            return false;
        Element mim;
        if (!readStartTag(mim) || mim.tag != "mim" || mim.selfClosed)
            return false;
        record.version = plainValue(mim, "version");
        Element classElement;
        if (!readStartTag(classElement) || classElement.tag != "class")
            return false;
        record.ldn = plainValue(classElement, "ldn");
        record.kind = XmlClassData::kindPlain;
        record.attributes.reserve(8);
        if (!classElement.selfClosed) {
            Element first;
            bool more = false;
            if (!nextChild(first, more, "class"))
                return false;
            if (more && (first.tag == "action" || first.tag == "fault")) {
                const bool action = first.tag == "action";
                record.kind = action ? XmlClassData::kindAction : XmlClassData::kindFault;
                (action ? record.actionName : record.faultName) = plainValue(first, "name");
                if (!first.selfClosed && !readAttributes(record, nullptr, first.tag))
                    return false;
                // Only the parameter element below the class.
                Element none;
                if (!nextChild(none, more, "class") || more)
                    return false;
            } else if (more && !readAttributes(record, &first, "class")) {
                return false;
            }
        }
        if (!endTag("mim"))
            return false;
        skipSpace();
        return m_p == m_end;
    }

  private:
    static constexpr int kMaxDepth = 16;
    static constexpr int kMaxAttributes = 4;

    // A start tag: its name and its attributes' raw values (checked, entities not decoded).
    struct Element {
        std::string_view tag;
        bool selfClosed = false;
        int count = 0;
        std::string_view names[kMaxAttributes];
        std::string_view raws[kMaxAttributes];
        const std::string_view* find(std::string_view name) const {
            for (int i = 0; i < count; ++i)
                if (names[i] == name)
                    return &raws[i];
            return nullptr;
        }
    };

    struct Entity {
        std::string_view text;
        char c;
    };
    static constexpr Entity kEntities[] = {
        {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}};

    static bool isSpace(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }
    static bool isNameStart(char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
    }
    static bool isNameChar(char c) {
        return isNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == ':';
    }
    static const Entity* entityAt(std::string_view text) {
        for (const Entity& entity : kEntities)
            if (text.substr(0, entity.text.size()) == entity.text)
                return &entity;
        return nullptr;
    }

    // The attribute's value with its entities decoded once, as the parser gives it; ""
    // for an absent attribute, as for a null pointer.
    static std::string parsedValue(const Element& element, std::string_view name) {
        const std::string_view* raw = element.find(name);
        if (raw == nullptr)
            return std::string();
        std::string value;
        value.reserve(raw->size());
        for (std::size_t i = 0; i < raw->size();) {
            const std::size_t amp = raw->find('&', i);
            value.append(raw->substr(i, amp - i));
            if (amp == std::string_view::npos)
                break;
            const Entity* entity = entityAt(raw->substr(amp));  // checked when read
            if (entity == nullptr)
                return std::string();
            value += entity->c;
            i = amp + entity->text.size();
        }
        return value;
    }
    // As xmlHandler reads an attribute: decoded by the parser, then unescapeXml.
    static std::string plainValue(const Element& element, std::string_view name) {
        const std::string_view* raw = element.find(name);
        if (raw == nullptr || raw->find('&') == std::string_view::npos)
            return raw == nullptr ? std::string() : std::string(*raw);
        return unescapeXml(parsedValue(element, name));
    }

    void skipSpace() {
        while (m_p != m_end && isSpace(*m_p))
            ++m_p;
    }
    bool literal(std::string_view text) {
        if (static_cast<std::size_t>(m_end - m_p) < text.size() ||
            std::memcmp(m_p, text.data(), text.size()) != 0)
            return false;
        m_p += text.size();
        return true;
    }
    bool readName(std::string_view& name) {
        if (m_p == m_end || !isNameStart(*m_p))
            return false;
        const char* start = m_p;
        while (m_p != m_end && isNameChar(*m_p))
            ++m_p;
        name = std::string_view(start, static_cast<std::size_t>(m_p - start));
        return true;
    }
    // A double-quoted value of printable ASCII in which every "&" begins a named entity.
    bool readValue(std::string_view& raw) {
        if (m_p == m_end || *m_p != '"')
            return false;
        const char* start = ++m_p;
        while (m_p != m_end && *m_p != '"') {
            const char c = *m_p;
            if (c < 0x20 || c > 0x7e || c == '<')
                return false;
            if (c == '&') {
                const Entity* entity =
                    entityAt(std::string_view(m_p, static_cast<std::size_t>(m_end - m_p)));
                if (entity == nullptr)
                    return false;
                m_p += entity->text.size();
            } else {
                ++m_p;
            }
        }
        if (m_p == m_end)
            return false;
        raw = std::string_view(start, static_cast<std::size_t>(m_p - start));
        ++m_p;
        return true;
    }
    // "<tag", each attribute after white space, then "/>" or ">".
    bool readStartTag(Element& element) {
        skipSpace();
        if (m_p == m_end || *m_p != '<')
            return false;
        ++m_p;
        if (!readName(element.tag))
            return false;
        for (;;) {
            const char* before = m_p;
            skipSpace();
            if (m_p == m_end)
                return false;
            if (*m_p == '>') {
                ++m_p;
                return true;
            }
            if (*m_p == '/') {
                ++m_p;
                element.selfClosed = true;
                return literal(">");
            }
            std::string_view name;
            if (m_p == before || element.count == kMaxAttributes || !readName(name) ||
                element.find(name) != nullptr || !literal("=") ||
                !readValue(element.raws[element.count]))
                return false;
            element.names[element.count++] = name;
        }
    }
    // "</tag" and ">", with white space before and before the ">".
    bool endTag(std::string_view tag) {
        skipSpace();
        if (!literal("</") || !literal(tag))
            return false;
        skipSpace();
        return literal(">");
    }
    // The next child element into child (more), or the end tag of the parent (not more).
    bool nextChild(Element& child, bool& more, std::string_view parent) {
        skipSpace();
        more = !(m_end - m_p >= 2 && m_p[0] == '<' && m_p[1] == '/');
        return more ? readStartTag(child) : endTag(parent);
    }
    // Attribute elements up to the end tag of parent, the first one read already when given.
    bool readAttributes(XmlClassData& record, const Element* first, std::string_view parent) {
        Element element;
        bool more = true;
        if (first != nullptr) {
            element = *first;
        } else if (!nextChild(element, more, parent)) {
            return false;
        }
        while (more) {
            if (element.tag == "attr") {
                if (!element.selfClosed)
                    return false;
                record.attributes.emplace_back(plainValue(element, "name"),
                                               plainValue(element, "type"),
                                               plainValue(element, "value"));
            } else if (xmlHandler::isDerivedType(std::string(element.tag))) {
                std::string text;
                if (!derivedToXml(element, text, 1))
                    return false;
                record.attributes.emplace_back(plainValue(element, "name"),
                                               std::string(element.tag), std::move(text));
            } else {
                return false;
            }
            ++record.attributeCount;
            element.selfClosed = false;
            element.count = 0;
            if (!nextChild(element, more, parent))
                return false;
        }
        return true;
    }
    // The derived element whose start tag is read, with its members, as elementToXml
    // writes it. Members that elementToXml would leave out are not of the form.
    bool derivedToXml(const Element& element, std::string& out, int depth) {
        if (depth > kMaxDepth)
            return false;
        const std::string name = escapeXml(parsedValue(element, "name"));
        out += '<';
        out += element.tag;
        if (!name.empty()) {
            out += " name=\"";
            out += name;
            out += '"';
        }
        out += ">\n";
        bool more = !element.selfClosed;
        while (more) {
            Element child;
            if (!nextChild(child, more, element.tag))
                return false;
            if (!more)
                break;
            if (child.tag == "attr") {
                const std::string type = escapeXml(parsedValue(child, "type"));
                if (!child.selfClosed || !xmlHandler::isPrimitiveType(type))
                    return false;
                const std::string childName = escapeXml(parsedValue(child, "name"));
                out += "<attr";
                if (!childName.empty()) {
                    out += " name=\"";
                    out += childName;
                    out += '"';
                }
                out += " type=\"";
                out += type;
                out += "\" value=\"";
                out += escapeXml(parsedValue(child, "value"));
                out += "\"/>\n";
            } else if (xmlHandler::isDerivedType(std::string(child.tag))) {
                if (!derivedToXml(child, out, depth + 1))
                    return false;
            } else {
                return false;
            }
        }
        out += "</";
        out += element.tag;
        out += ">\n";
        return true;
    }

    const char* m_p;
    const char* m_end;
};

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
    if (!readConfirmXml(confirm.xml, confirm.data)) {
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

bool readConfirmXml(const std::string& text, XmlClassData& out, bool* direct) {
    XmlClassData record;
    const bool read = StrictConfirmReader(text).read(record);
    if (direct != nullptr)
        *direct = read;
    if (!read)
        return xmlHandler::instance().parseXml(text, out);
    // What parseXml sets; a fault's name only in a fault.
    out.attributes = std::move(record.attributes);
    out.version = std::move(record.version);
    out.ldn = std::move(record.ldn);
    out.kind = record.kind;
    out.actionName = std::move(record.actionName);
    if (record.kind == XmlClassData::kindFault)
        out.faultName = std::move(record.faultName);
    out.attributeCount = record.attributeCount;
    return true;
}

bool createOrSetXml(const std::string& version, const FroRef& fro, const Attributes& attributes,
                    std::string& out) {
    return xmlHandler::instance().createXml(fro.ldn, version, attributes, out);
}

std::string getXml(const std::string& version, const FroRef& fro,
                   const std::vector<std::string>& names) {
    std::size_t room = std::strlen(kClassClose);
    for (const std::string& name : names)
        room += name.size() + 20;
    std::string out = classOpen(version, fro, room);
    for (const std::string& name : names) {
        out += "<attr name=\"";
        appendEscapedXml(name, out);
        out += "\"/>\n";
    }
    out += kClassClose;
    return out;
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
