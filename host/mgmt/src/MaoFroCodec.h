// MaoFroCodec: the MAO-FRO signals of the management side, built and read.
//
// Readers take a received signal with its size and never read past it: a field that
// lies outside the signal, a text without its NUL inside it, or an attribute of
// another kind than the signal allows makes the answer malformed, with a line that
// says which.
#ifndef MGMT_MAO_FRO_CODEC_H
#define MGMT_MAO_FRO_CODEC_H

#include "ManagementClient.h"
#include "XmlClassData.h"
#include "ose.h"

#include <cstdint>
#include <cstring>
#include <string>

namespace mgmt {

/// Bounded reads from a received signal.
class SignalBytes {
  public:
    SignalBytes(const union SIGNAL* signal, OSBUFSIZE size)
        : m_bytes(reinterpret_cast<const unsigned char*>(signal)), m_size(size) {}
    OSBUFSIZE size() const { return m_size; }
    bool fits(std::size_t offset, std::size_t length) const {
        return offset <= m_size && m_size - offset >= length;
    }
    bool u32(std::size_t offset, uint32_t& value) const { return read(offset, value); }
    bool u16(std::size_t offset, uint16_t& value) const { return read(offset, value); }
    /// The text at offset up to its NUL, looked for in at most limit bytes.
    bool text(std::size_t offset, std::size_t limit, std::string& value) const;

  private:
    template <class T>
    bool read(std::size_t offset, T& value) const {
        if (!fits(offset, sizeof value))
            return false;
        std::memcpy(&value, m_bytes + offset, sizeof value);
        return true;
    }
    const unsigned char* m_bytes;
    OSBUFSIZE m_size;
};

/// A string attribute as read: its kind word and its text.
struct StringAttr {
    uint32_t attribute = 0;
    std::string text;
};

/// Reads the string attribute whose head is at offset; false with the reason otherwise.
bool readStringAttr(const SignalBytes& bytes, std::size_t offset, StringAttr& attr,
                    std::string& why);

/// The request signal's number, the answer's number (0 for MAO_FRO_ACTION) and the
/// signal's name for texts.
SIGSELECT requestNumber(Request::Kind kind);
SIGSELECT confirmNumber(Request::Kind kind);
const char* signalName(SIGSELECT number);

/// Builds a request carrying the text as a string attribute of kind attrWord; null
/// when it does not fit in a signal.
union SIGNAL* buildRequest(const Request& request, uint32_t attrWord, const std::string& text);
/// Builds MAOFRO_INITIATE_SERVICE_REQ.
union SIGNAL* buildInitiate(uint32_t signalRevision, const std::string& revision);

/// Reads a create, set, delete, get or action confirm into confirm (outcome answered
/// or malformed). The XML of a get or action confirm is unzipped and parsed.
void decodeConfirm(Request::Kind kind, const SignalBytes& bytes, Confirm& confirm);
/// Reads MAOFRO_INITIATE_SERVICE_CFM.
void decodeInitiate(const SignalBytes& bytes, InitiateConfirm& confirm);
/// Reads an indication; false with the reason when it is malformed.
bool decodeIndication(SIGSELECT number, const SignalBytes& bytes, Indication& indication,
                      std::string& why);

/// Reads the XML of a confirm into out with the result and the record of
/// xmlHandler::parseXml. The form the node writes (its answer documents, struct and
/// array values as it writes them) is read directly; any other text, malformed ones
/// included, goes to parseXml. direct, when given, says whether it was read directly.
bool readConfirmXml(const std::string& text, XmlClassData& out, bool* direct = nullptr);

/// The XML documents of the requests, in the mim version given; false for an
/// attribute whose type is neither primitive nor derived.
bool createOrSetXml(const std::string& version, const FroRef& fro, const Attributes& attributes,
                    std::string& out);
std::string getXml(const std::string& version, const FroRef& fro,
                   const std::vector<std::string>& names);
std::string deleteXml(const std::string& version, const FroRef& fro);
bool actionXml(const std::string& version, const FroRef& fro, const std::string& name,
               const Attributes& parameters, std::string& out);

}  // namespace mgmt

#endif  // MGMT_MAO_FRO_CODEC_H
