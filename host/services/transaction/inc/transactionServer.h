// The transaction server "TarvoTransaction" on the host.
//
// It keeps transactions, their registered resources and their SQL text. A commit
// applies the text of the transaction in one database transaction, statement by
// statement in the order received, and then tells every resource; a failed apply
// leaves the database as it was, fails the commit and tells the resources to roll
// back. README.md beside this folder tells the whole protocol.
#ifndef HOSTTX_TRANSACTION_SERVER_H
#define HOSTTX_TRANSACTION_SERVER_H

#include "DatabaseConfig.h"
#include "ose.h"

#include <cstdint>

namespace hosttx {

struct TransactionServerConfig {
    /// The database the SQL text is applied to: the same as the database agent's.
    hostdb::DatabaseConfig database;
    /// Transactions open at once; a create beyond answers TARVO_TRANI_UNAVAILABLE.
    uint32_t maxOpenTransactions = 4096;
    /// SQL text one transaction may hold; more fails the transaction at commit.
    uint32_t maxTextBytes = 64u * 1024u * 1024u;
};

/// Creates and starts "TarvoTransaction", or finds the one running; its pid. 0 when
/// the configuration cannot be prepared (the reason is traced).
PROCESS startTransactionServer(const TransactionServerConfig& config);

}  // namespace hosttx

#endif  // HOSTTX_TRANSACTION_SERVER_H
