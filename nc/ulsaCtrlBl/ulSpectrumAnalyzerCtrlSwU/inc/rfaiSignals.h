// rfaiSignals.h: the signals of the platform's remote file access interface (RFAI),
// through which the node uploads a file to an FTP server, and the name-server
// subscription that finds the service.
//
// Both sides use these layouts: the load module's proxy (ULSAProxyRfai) and the
// host's file-transfer service. Every number is in the byte order of the machine;
// offsets are from the start of the signal; texts are NUL-terminated inside their
// fields.
#ifndef RFAI_SIGNALS_H
#define RFAI_SIGNALS_H

#include "ose.h"

#include <cstddef>
#include <cstdint>

#define OSA_RFAI_HUNT_NS_IND ((SIGSELECT)0x1064E)            // own hunt signal
#define OSA_RFAI_ATTACH_NS_IND ((SIGSELECT)0x1064F)          // own attach signal, name server
#define OSA_RFAI_SERVER_UP_IND ((SIGSELECT)0x10650)          // from the name server
#define OSA_RFAI_SERVER_DOWN_IND ((SIGSELECT)0x10651)        // own attach signal, server
#define OSA_RFAI_UNPUBLISH_IND ((SIGSELECT)0x10652)          // from the name server
#define OSA_RFAI_CONNECT_CFM ((SIGSELECT)0x10654)            // from the server
#define OSA_RFAI_CONNECT_REJ ((SIGSELECT)0x10655)            // from the server, or locally
#define OSA_RFAI_DISCONN_REQ ((SIGSELECT)0x10656)            // to the server
#define OSA_RFAI_DISCONN_CFM ((SIGSELECT)0x10657)            // from the server
#define OSA_RFAI_INIT_SERVICE_CFM ((SIGSELECT)0x1065C)       // from the server
#define OSA_RFAI_INIT_SERVICE_REJ ((SIGSELECT)0x1065D)       // from the server
#define OSA_RFAI_INIT_SERVICE_SUS ((SIGSELECT)0x1065E)       // from the server
#define OSA_RFAI_TERMINATE_SERVICE_REQ ((SIGSELECT)0x10665)  // to the server
#define OSA_RFAI_TERMINATE_SERVICE_CFM ((SIGSELECT)0x10666)  // from the server, or locally
#define OSA_RFAI_DISCONN_REJ ((SIGSELECT)0x10667)            // from the server, or locally
#define OSA_RFAI_INIT_SERVICE_REQ ((SIGSELECT)0x10668)       // to the server
#define OSA_RFAI_PUT_REQ ((SIGSELECT)0x1082F)                // to the server
#define OSA_RFAI_PUT_CFM ((SIGSELECT)0x10830)                // from the server
#define OSA_RFAI_PUT_REJ ((SIGSELECT)0x10831)                // from the server, or locally
#define OSA_RFAI_CONNECT_IPV6_BSA_REQ ((SIGSELECT)0x186FE)   // to the server

/// The name-server subscription that names a signal to send when a name is published.
#define OSA_RFAI_NS_SUBSCRIBE ((SIGSELECT)0x7B81)

namespace rfai {

/// The name under which the file-transfer service is published.
constexpr const char* kServiceName = "TARVO_RFAI";
/// The process of the name server.
constexpr const char* kNameServerName = "ose_ns";
/// The protocol version the node asks for first, and the service speaks.
constexpr uint16_t kProtocolVersion = 5;
/// Longest additionalInfo text with its NUL.
constexpr std::size_t kAdditionalInfoSize = 128;
/// The faultCode of a request refused because the session is not in a state for it.
constexpr uint32_t kFaultInvalidState = 2000;
/// The additionalInfo that goes with kFaultInvalidState.
constexpr const char* kInvalidStateText = "Request in invalid state";
/// `result` of a confirmation that reports success.
constexpr uint16_t kResultSuccess = 1;

/// The field length L of the name-server subscription for a name of that length:
/// the length with its two lowest bits cleared, plus 4 (room for at least one NUL).
constexpr std::size_t nsNameFieldLength(std::size_t nameLength) {
    return (nameLength & ~std::size_t{3}) + 4;
}
/// The subscription's size for a name of that length: 24 + L.
constexpr std::size_t nsSubscribeSize(std::size_t nameLength) {
    return 24 + nsNameFieldLength(nameLength);
}

/// Name-server subscription 0x7B81; the name field of L bytes starts at nameOffset and
/// the number of the signal to send on publication follows it (at 16 + L).
struct NsSubscribeHead {
    static constexpr std::size_t nameOffset = 16;
    SIGSELECT sigNo;
    uint32_t firstWord;        // 0
    uint32_t nameFieldLength;  // L
    uint32_t reserved;         // left as allocated
};
static_assert(sizeof(NsSubscribeHead) == 16, "NsSubscribeHead layout");

/// A signal that is its number alone.
struct HeadOnly {
    SIGSELECT sigNo;
};

/// OSA_RFAI_INIT_SERVICE_REQ, 52 bytes.
struct InitServiceReq {
    static constexpr std::size_t clientNameSize = 41;
    SIGSELECT sigNo;
    char clientName[clientNameSize];
    uint8_t fill;
    uint16_t pvFirstWanted;
    uint16_t pvSecondWanted;
    uint16_t pvThirdWanted;
};
static_assert(offsetof(InitServiceReq, clientName) == 4, "InitServiceReq layout");
static_assert(offsetof(InitServiceReq, pvFirstWanted) == 46, "InitServiceReq layout");
static_assert(offsetof(InitServiceReq, pvSecondWanted) == 48, "InitServiceReq layout");
static_assert(offsetof(InitServiceReq, pvThirdWanted) == 50, "InitServiceReq layout");
static_assert(sizeof(InitServiceReq) == 52, "InitServiceReq layout");

/// OSA_RFAI_INIT_SERVICE_CFM: the service's choice of version at 4 (the node reads
/// nothing of it).
struct InitServiceCfm {
    SIGSELECT sigNo;
    uint16_t selectedPv;
    uint16_t fill;
};
static_assert(sizeof(InitServiceCfm) == 8, "InitServiceCfm layout");

/// OSA_RFAI_INIT_SERVICE_REJ: the highest protocol version the service has, at 6.
struct InitServiceRej {
    static constexpr std::size_t minSize = 8;
    SIGSELECT sigNo;
    uint16_t fill;
    uint16_t highestPv;
};
static_assert(offsetof(InitServiceRej, highestPv) == 6, "InitServiceRej layout");
static_assert(sizeof(InitServiceRej) == 8, "InitServiceRej layout");

/// OSA_RFAI_CONNECT_IPV6_BSA_REQ, 536 bytes. Each field ends with a NUL forced at its
/// own last byte, so a field holds one character less than its width; the three
/// fields touch one another.
struct ConnectIpv6BsaReq {
    static constexpr std::size_t ipAddressSize = 256;
    static constexpr std::size_t usernameSize = 255;
    static constexpr std::size_t passwordSize = 21;
    SIGSELECT sigNo;
    char ipAddress[ipAddressSize];
    char username[usernameSize];
    char password[passwordSize];
};
static_assert(offsetof(ConnectIpv6BsaReq, ipAddress) == 4, "ConnectIpv6BsaReq layout");
static_assert(offsetof(ConnectIpv6BsaReq, username) == 260, "ConnectIpv6BsaReq layout");
static_assert(offsetof(ConnectIpv6BsaReq, password) == 515, "ConnectIpv6BsaReq layout");
static_assert(sizeof(ConnectIpv6BsaReq) == 536, "ConnectIpv6BsaReq layout");

/// OSA_RFAI_PUT_REQ, 516 bytes; both paths end with a forced NUL.
struct PutReq {
    static constexpr std::size_t pathSize = 256;
    SIGSELECT sigNo;
    char localPath[pathSize];
    char remotePath[pathSize];
};
static_assert(offsetof(PutReq, remotePath) == 260, "PutReq layout");
static_assert(sizeof(PutReq) == 516, "PutReq layout");

/// OSA_RFAI_CONNECT_CFM, OSA_RFAI_PUT_CFM (with additionalInfo from 12, as long as the
/// signal) and OSA_RFAI_DISCONN_CFM (12 bytes, no text).
struct ResultCfm {
    static constexpr std::size_t minSize = 12;
    static constexpr std::size_t additionalInfoOffset = 12;
    SIGSELECT sigNo;
    uint16_t result;  // kResultSuccess
    uint16_t fill;
    uint32_t faultCode;
};
static_assert(offsetof(ResultCfm, faultCode) == 8, "ResultCfm layout");
static_assert(sizeof(ResultCfm) == 12, "ResultCfm layout");

/// OSA_RFAI_CONNECT_REJ, OSA_RFAI_PUT_REJ, OSA_RFAI_DISCONN_REJ, 136 bytes.
struct Rej {
    static constexpr std::size_t minSize = 8;
    static constexpr std::size_t additionalInfoOffset = 8;
    SIGSELECT sigNo;
    uint32_t faultCode;
    char additionalInfo[kAdditionalInfoSize];
};
static_assert(offsetof(Rej, additionalInfo) == 8, "Rej layout");
static_assert(sizeof(Rej) == 136, "Rej layout");

}  // namespace rfai

#endif  // RFAI_SIGNALS_H
