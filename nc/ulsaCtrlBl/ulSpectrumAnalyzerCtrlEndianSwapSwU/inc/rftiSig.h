// rftiSig.h: the signals of the radio unit's file transfer interface (RFTI).
//
// The head (RadioSignalHead), the connection request and the rejections have the
// layouts of rmciSig.h. A result block's data follows its sequence number; the
// signal is as long as the block.
#ifndef RFTI_SIG_H
#define RFTI_SIG_H

#include "rmciSig.h"

#define RFTI_CONN_ESTABLISH_REQ ((SIGSELECT)0x1706B00)
#define RFTI_CONN_ESTABLISH_CFM ((SIGSELECT)0x1706B01)
#define RFTI_CONN_ESTABLISH_REJ ((SIGSELECT)0x1706B02)
#define RFTI_GET_CAPABILITIES_REQ ((SIGSELECT)0x1706B10)
#define RFTI_GET_CAPABILITIES_CFM ((SIGSELECT)0x1706B11)
#define RFTI_GET_RESULT_REQ ((SIGSELECT)0x1706B20)
#define RFTI_GET_RESULT_CFM ((SIGSELECT)0x1706B21)
#define RFTI_GET_RESULT_REJ ((SIGSELECT)0x1706B22)
#define RFTI_GET_RESULT_DATA ((SIGSELECT)0x1706B24)
#define RFTI_GET_RESULT_ACK ((SIGSELECT)0x1706B25)

/// RFTI_GET_CAPABILITIES_CFM; its first 24 bytes, head included, are kept as one
/// record by the client.
struct RftiGetCapabilitiesCfm {
    static constexpr OSBUFSIZE minSize = 24;
    SIGSELECT sigNo;
    uint32_t clientRef;
    uint32_t connectionRef;
    uint16_t firstCapability;
    uint16_t fill;
    uint16_t secondCapability;
    uint16_t thirdCapability;
    uint32_t blockSize;  // read as one word; converted as two 16-bit halves
};
static_assert(offsetof(RftiGetCapabilitiesCfm, firstCapability) == 12, "RftiGetCapabilitiesCfm");
static_assert(offsetof(RftiGetCapabilitiesCfm, secondCapability) == 16, "RftiGetCapabilitiesCfm");
static_assert(offsetof(RftiGetCapabilitiesCfm, thirdCapability) == 18, "RftiGetCapabilitiesCfm");
static_assert(offsetof(RftiGetCapabilitiesCfm, blockSize) == 20, "RftiGetCapabilitiesCfm");
static_assert(sizeof(RftiGetCapabilitiesCfm) == 24, "RftiGetCapabilitiesCfm layout");

/// RFTI_GET_RESULT_REQ, 20 bytes.
struct RftiGetResultReq {
    static constexpr OSBUFSIZE minSize = 20;
    SIGSELECT sigNo;
    uint32_t clientRef;
    uint32_t connectionRef;
    uint32_t blockSize;
    uint32_t dataFileRef;
};
static_assert(offsetof(RftiGetResultReq, blockSize) == 12, "RftiGetResultReq layout");
static_assert(offsetof(RftiGetResultReq, dataFileRef) == 16, "RftiGetResultReq layout");
static_assert(sizeof(RftiGetResultReq) == 20, "RftiGetResultReq layout");

/// RFTI_GET_RESULT_CFM, at least 28 bytes: the file's description.
struct RftiGetResultCfm {
    static constexpr OSBUFSIZE minSize = 28;
    SIGSELECT sigNo;
    uint32_t clientRef;
    uint32_t connectionRef;
    uint32_t fileSize;  // bytes
    uint32_t blockSize;
    uint32_t totalNoOfBlocks;
    uint32_t checksum;  // sum of the file's bytes modulo 2^32
};
static_assert(offsetof(RftiGetResultCfm, fileSize) == 12, "RftiGetResultCfm layout");
static_assert(offsetof(RftiGetResultCfm, blockSize) == 16, "RftiGetResultCfm layout");
static_assert(offsetof(RftiGetResultCfm, totalNoOfBlocks) == 20, "RftiGetResultCfm layout");
static_assert(offsetof(RftiGetResultCfm, checksum) == 24, "RftiGetResultCfm layout");
static_assert(sizeof(RftiGetResultCfm) == 28, "RftiGetResultCfm layout");

/// RFTI_GET_RESULT_DATA: 16 bytes and the block (blockSize bytes, the remainder in
/// the last block).
struct RftiGetResultData {
    static constexpr OSBUFSIZE minSize = 16;
    static constexpr std::size_t dataOffset = 16;
    SIGSELECT sigNo;
    uint32_t clientRef;
    uint32_t connectionRef;
    uint32_t seqNumber;  // from 1
};
static_assert(offsetof(RftiGetResultData, seqNumber) == 12, "RftiGetResultData layout");
static_assert(sizeof(RftiGetResultData) == RftiGetResultData::dataOffset, "RftiGetResultData");

/// RFTI_GET_RESULT_ACK, 16 bytes.
struct RftiGetResultAck {
    static constexpr OSBUFSIZE minSize = 16;
    SIGSELECT sigNo;
    uint32_t clientRef;
    uint32_t connectionRef;
    uint32_t seqNumber;  // of the acknowledged block
};
static_assert(offsetof(RftiGetResultAck, seqNumber) == 12, "RftiGetResultAck layout");
static_assert(sizeof(RftiGetResultAck) == 16, "RftiGetResultAck layout");

#endif  // RFTI_SIG_H
