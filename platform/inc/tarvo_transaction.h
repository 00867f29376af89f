// The load module's client of the platform's transaction service "TarvoTransaction".
//
// Free functions with the prefix TarvoTransaction_, each run in the caller's process.
// The server is found by name through Osa_findServer (osa_findserver.h) and kept until
// its server block says it has gone. A function called with synchronous = 0 sends and
// returns 0; the answer then arrives as an ordinary signal. With synchronous = 1 it
// waits for the answer (10 s at a time, as long as the same server runs); other signals
// stay queued meanwhile.
//
// Results: 0 success; 1 (TARVO_TRANI_FAILURE) when the server is not found or went
// away; otherwise the server's code.
//
// Every field of the signals is a 32-bit word at the offset given, word 0 being the
// signal number.
#ifndef TARVO_TRANSACTION_H
#define TARVO_TRANSACTION_H

#include "ose.h"

#include <cstddef>
#include <cstdint>

/// The name the server runs under.
inline constexpr const char* kTarvoTransactionServerName = "TarvoTransaction";

/// To the server: create a transaction. 4: id argument (1 in this load module).
inline constexpr SIGSELECT TARVO_TRANS_CREATE_REQ = 0x2711;
/// From the server: 4: transaction id, 8: result.
inline constexpr SIGSELECT TARVO_TRANS_CREATE_RSP = 0x2712;
/// To the server, sent with send_w_s in the name of the resource: 4: transaction id,
/// 8: user parameter.
inline constexpr SIGSELECT TARVO_TRANS_REGISTER_REQ = 0x2713;
/// To the resource: 4: transaction id, 12: result.
inline constexpr SIGSELECT TARVO_TRANS_REGISTER_RSP = 0x2714;
/// To the server: commit. 4: transaction id.
inline constexpr SIGSELECT TARVO_TRANS_COMMIT_REQ = 0x2717;
/// From the server: 8: result.
inline constexpr SIGSELECT TARVO_TRANS_COMMIT_RSP = 0x2718;
/// To the server: roll back. 4: transaction id.
inline constexpr SIGSELECT TARVO_TRANS_ROLLBACK_REQ = 0x2719;
/// From the server: 8: result.
inline constexpr SIGSELECT TARVO_TRANS_ROLLBACK_RSP = 0x271A;
/// The client's own attach signal on the server, empty: it comes back (with the server
/// as sender) when the server ends.
inline constexpr SIGSELECT TARVO_TRANS_SERVER_DOWN_IND = 0x271B;
/// To the server: attach request, empty; answered by the empty confirm.
inline constexpr SIGSELECT TARVO_TRANS_ATTACH_REQ = 0x271C;
inline constexpr SIGSELECT TARVO_TRANS_ATTACH_CFM = 0x271D;
/// To each resource at commit and at rollback: 8: transaction id.
inline constexpr SIGSELECT TARVO_TRANS_COMMIT_IND = 0x271E;
inline constexpr SIGSELECT TARVO_TRANS_ROLLBACK_IND = 0x271F;
/// To the server: SQL text, the last or only part: 4: transaction id, 8: text and NUL.
inline constexpr SIGSELECT TARVO_TRANS_SQL_LAST = 0x2721;
/// To the server: SQL text, a part that more follow: 4: transaction id, 8: 16000
/// bytes, 16008: NUL.
inline constexpr SIGSELECT TARVO_TRANS_SQL_PART = 0x2722;

/// Offsets of the fields.
inline constexpr std::size_t kTarvoTransIdOffset = 4;
inline constexpr std::size_t kTarvoTransCreateResultOffset = 8;
inline constexpr std::size_t kTarvoTransRegisterResultOffset = 12;
inline constexpr std::size_t kTarvoTransResultOffset = 8;
inline constexpr std::size_t kTarvoTransIndIdOffset = 8;
inline constexpr std::size_t kTarvoTransSqlTextOffset = 8;
/// Characters of SQL text in one part that more follow.
inline constexpr std::size_t kTarvoTransSqlPartLength = 16000;

/// The layout of the registration's answer.
struct TarvoTransRegisterRsp {
    SIGSELECT sigNo;
    uint32_t transactionId;
    uint32_t userParameter;  // filled by the host's server; not read by the load module
    uint32_t result;
};
/// The layout of TARVO_TRANS_COMMIT_IND and TARVO_TRANS_ROLLBACK_IND.
struct TarvoTransInd {
    SIGSELECT sigNo;
    uint32_t userParameter;  // filled by the host's server; not read by the load module
    uint32_t transactionId;
};

/// Result codes.
inline constexpr uint32_t TARVO_TRANI_OK = 0;
inline constexpr uint32_t TARVO_TRANI_FAILURE = 1;
inline constexpr uint32_t TARVO_TRANI_UNAVAILABLE = 5;
inline constexpr uint32_t TARVO_TRANI_ID_NOT_FOUND = 7;

/// Attaches to the server (TARVO_TRANS_SERVER_DOWN_IND comes when it ends); tries again
/// every 100 ms until a server confirms, so it returns 0.
uint32_t TarvoTransaction_serviceAttach_e();
/// Creates a transaction; synchronously *transactionId is the new id (0 on failure).
uint32_t TarvoTransaction_create_e(uint32_t idArgument, uint32_t* transactionId,
                                   uint32_t synchronous);
/// Registers the calling process as a resource of the transaction.
uint32_t TarvoTransaction_registerResource_e(uint32_t transactionId, uint32_t userParameter,
                                             uint32_t synchronous);
/// Registers process as a resource; the answer and the indications go to it. A
/// synchronous call for another process than the caller's returns 1 at once.
uint32_t TarvoTransaction_registerResourceWithProc_e(uint32_t transactionId, uint32_t userParameter,
                                                     PROCESS process, uint32_t synchronous);
/// Does nothing; 0.
uint32_t TarvoTransaction_prepare_e(uint32_t transactionId);
/// Commits the transaction: the server applies its SQL text.
uint32_t TarvoTransaction_commit_e(uint32_t transactionId, uint32_t synchronous);
/// Rolls the transaction back: its SQL text is dropped.
uint32_t TarvoTransaction_rollBack_e(uint32_t transactionId, uint32_t synchronous);
/// Hands one SQL statement to the server under the transaction, in parts of 16000
/// characters when it is longer; nothing is answered.
void TarvoTransaction_databaseUpdateSQL(uint32_t transactionId, const char* sql);

#endif  // TARVO_TRANSACTION_H
