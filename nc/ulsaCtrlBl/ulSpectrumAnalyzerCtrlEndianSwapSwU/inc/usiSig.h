// usiSig.h: the signals of a unit's status service (USI), "KGM_IW_USI:" + the
// unit's LDN.
//
// These signals stay in the byte order of the node: the radio conversion does not
// touch them. Their head carries procedureRef (the client's froId) and
// connectionRef.
#ifndef USI_SIG_H
#define USI_SIG_H

#include "ose.h"

#include <cstddef>
#include <cstdint>

#define KGM_IW_USI_CONN_ESTABLISH_REQ ((SIGSELECT)0x1742B00)
#define KGM_IW_USI_CONN_ESTABLISH_CFM ((SIGSELECT)0x1742B01)
#define KGM_IW_USI_CONN_ESTABLISH_REJ ((SIGSELECT)0x1742B02)
#define KGM_IW_USI_UNIT_INFO_UPDATE_IND ((SIGSELECT)0x1742B03)
#define KGM_IW_USI_CONN_CLOSE_REQ ((SIGSELECT)0x1742B04)
#define KGM_IW_USI_CONN_CLOSE_CFM ((SIGSELECT)0x1742B05)

/// The prefix of a unit's status service name; the unit's LDN follows it.
constexpr const char* kUsiServicePrefix = "KGM_IW_USI:";

/// The head of every USI signal, and the whole of KGM_IW_USI_CONN_ESTABLISH_CFM,
/// KGM_IW_USI_CONN_CLOSE_REQ and KGM_IW_USI_CONN_CLOSE_CFM.
struct UsiSignalHead {
    static constexpr OSBUFSIZE minSize = 12;
    SIGSELECT sigNo;
    uint32_t procedureRef;   // the client's froId
    uint32_t connectionRef;  // 0 in a first establish request
};
static_assert(offsetof(UsiSignalHead, procedureRef) == 4, "UsiSignalHead layout");
static_assert(offsetof(UsiSignalHead, connectionRef) == 8, "UsiSignalHead layout");
static_assert(sizeof(UsiSignalHead) == 12, "UsiSignalHead layout");

/// KGM_IW_USI_CONN_ESTABLISH_REQ: 28 bytes + the LDN's length. The LDN is copied
/// without a terminator; 4 bytes of room stand behind it.
struct UsiConnEstablishReq {
    static constexpr OSBUFSIZE minSize = 28;
    static constexpr uint32_t fixedWord = 1;
    SIGSELECT sigNo;
    uint32_t procedureRef;
    uint32_t connectionRef;
    uint32_t firstFixedWord;   // fixedWord
    uint32_t secondFixedWord;  // fixedWord
    uint32_t ldnLength;
    char ldn[4];  // ldnLength characters, no terminator, then room
};
static_assert(offsetof(UsiConnEstablishReq, firstFixedWord) == 12, "UsiConnEstablishReq");
static_assert(offsetof(UsiConnEstablishReq, secondFixedWord) == 16, "UsiConnEstablishReq");
static_assert(offsetof(UsiConnEstablishReq, ldnLength) == 20, "UsiConnEstablishReq layout");
static_assert(offsetof(UsiConnEstablishReq, ldn) == 24, "UsiConnEstablishReq layout");
static_assert(sizeof(UsiConnEstablishReq) == UsiConnEstablishReq::minSize, "UsiConnEstablishReq");

/// KGM_IW_USI_CONN_ESTABLISH_REJ, at least 16 bytes.
struct UsiConnEstablishRej {
    static constexpr OSBUFSIZE minSize = 16;
    SIGSELECT sigNo;
    uint32_t procedureRef;
    uint32_t connectionRef;
    uint32_t errorCode;
};
static_assert(offsetof(UsiConnEstablishRej, errorCode) == 12, "UsiConnEstablishRej layout");
static_assert(sizeof(UsiConnEstablishRej) == 16, "UsiConnEstablishRej layout");

/// operationalState of a unit.
constexpr uint32_t kUsiOperationalDisabled = 0;
constexpr uint32_t kUsiOperationalEnabled = 1;

/// KGM_IW_USI_UNIT_INFO_UPDATE_IND, at least 85 bytes; the controller name ends it.
struct UsiUnitInfoUpdateInd {
    static constexpr OSBUFSIZE minSize = 85;  // an empty name: its NUL alone
    static constexpr std::size_t otherInfoSize = 64;
    SIGSELECT sigNo;
    uint32_t procedureRef;
    uint32_t connectionRef;
    uint32_t unitStatusBits;
    uint32_t operationalState;  // kUsiOperational...
    uint8_t otherUnitInfo[otherInfoSize];
    char dcControllerName[4];  // NUL-terminated; as long as the signal
};
static_assert(offsetof(UsiUnitInfoUpdateInd, unitStatusBits) == 12, "UsiUnitInfoUpdateInd");
static_assert(offsetof(UsiUnitInfoUpdateInd, operationalState) == 16, "UsiUnitInfoUpdateInd");
static_assert(offsetof(UsiUnitInfoUpdateInd, otherUnitInfo) == 20, "UsiUnitInfoUpdateInd");
static_assert(offsetof(UsiUnitInfoUpdateInd, dcControllerName) == 84, "UsiUnitInfoUpdateInd");
static_assert(sizeof(UsiUnitInfoUpdateInd) == 88, "UsiUnitInfoUpdateInd layout");

#endif  // USI_SIG_H
