// The signals of the transaction server "TarvoTransaction".
//
// Word 0 is the signal number; every field is a 32-bit word in the machine's own byte
// order, at the offset given. Answers go to the request's sender; a registration's
// answer and the indications go to the registered resource, which is the sender of
// the registration (sent with send_w_s).
#ifndef HOSTTX_TRANSACTION_SIGNALS_H
#define HOSTTX_TRANSACTION_SIGNALS_H

#include "ose.h"

#include <cstddef>
#include <cstdint>

namespace hosttx {

/// The server's process name.
constexpr const char* kTransactionServerProcess = "TarvoTransaction";

constexpr SIGSELECT TARVO_TRANS_CREATE_REQ = 0x2711;    // 4: id argument
constexpr SIGSELECT TARVO_TRANS_CREATE_RSP = 0x2712;    // 4: transaction id, 8: result
constexpr SIGSELECT TARVO_TRANS_REGISTER_REQ = 0x2713;  // 4: transaction id, 8: user parameter
constexpr SIGSELECT TARVO_TRANS_REGISTER_RSP = 0x2714;  // 4: id, 8: user parameter, 12: result
constexpr SIGSELECT TARVO_TRANS_PREPARE_REQ = 0x2715;   // 4: transaction id
constexpr SIGSELECT TARVO_TRANS_PREPARE_RSP = 0x2716;   // 4: transaction id, 8: result
constexpr SIGSELECT TARVO_TRANS_COMMIT_REQ = 0x2717;    // 4: transaction id
constexpr SIGSELECT TARVO_TRANS_COMMIT_RSP = 0x2718;    // 4: transaction id, 8: result
constexpr SIGSELECT TARVO_TRANS_ROLLBACK_REQ = 0x2719;  // 4: transaction id
constexpr SIGSELECT TARVO_TRANS_ROLLBACK_RSP = 0x271A;  // 4: transaction id, 8: result
/// The client's own attach signal on the server: it comes back when the server ends.
constexpr SIGSELECT TARVO_TRANS_SERVER_DOWN_IND = 0x271B;  // empty
constexpr SIGSELECT TARVO_TRANS_ATTACH_REQ = 0x271C;       // empty
constexpr SIGSELECT TARVO_TRANS_ATTACH_CFM = 0x271D;       // empty
constexpr SIGSELECT TARVO_TRANS_COMMIT_IND = 0x271E;       // 4: user parameter, 8: transaction id
constexpr SIGSELECT TARVO_TRANS_ROLLBACK_IND = 0x271F;     // 4: user parameter, 8: transaction id
/// SQL text, the last or only part of one statement: 4: transaction id, 8: text and NUL.
constexpr SIGSELECT TARVO_TRANS_SQL_LAST = 0x2721;
/// SQL text, a part that more follow: 4: transaction id, 8: kSqlPartLength bytes, then a NUL.
constexpr SIGSELECT TARVO_TRANS_SQL_PART = 0x2722;

constexpr std::size_t kSqlTextOffset = 8;
constexpr std::size_t kSqlPartLength = 16000;
constexpr std::size_t kSqlPartSize = kSqlTextOffset + kSqlPartLength + 4;

/// Result codes.
constexpr uint32_t TARVO_TRANI_OK = 0;
constexpr uint32_t TARVO_TRANI_FAILURE = 1;
constexpr uint32_t TARVO_TRANI_UNAVAILABLE = 5;
constexpr uint32_t TARVO_TRANI_ID_NOT_FOUND = 7;

}  // namespace hosttx

#endif  // HOSTTX_TRANSACTION_SIGNALS_H
