// TransactionTable: the open transactions, their resources and their SQL text.
//
// Text comes in parts per sender: parts of one statement are joined in the order they
// came until its last part, so statements of different senders never mix. A
// transaction whose text has been damaged (a malformed part, too much text) can no
// longer commit.
#ifndef HOSTTX_TRANSACTION_TABLE_H
#define HOSTTX_TRANSACTION_TABLE_H

#include "ose.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace hosttx {

struct Resource {
    PROCESS pid = 0;
    uint32_t userParameter = 0;
};

struct Transaction {
    uint32_t id = 0;
    PROCESS creator = 0;
    std::vector<Resource> resources;         // in the order registered
    std::vector<std::string> statements;     // in the order their last parts came
    std::map<PROCESS, std::string> pending;  // a sender's statement waiting for its last part
    std::size_t textBytes = 0;
    std::string damage;  // why it cannot commit; empty while whole

    /// Why the transaction cannot commit now, or empty.
    std::string whyNotCommittable() const;
};

class TransactionTable {
  public:
    TransactionTable(uint32_t maxOpen, uint32_t maxTextBytes);

    /// A new transaction's id; 0 when maxOpen are open.
    uint32_t create(PROCESS creator);
    Transaction* find(uint32_t id);
    /// Adds a resource once; false when the transaction is unknown.
    bool addResource(uint32_t id, PROCESS pid, uint32_t userParameter);
    /// Adds a part of a sender's statement; last ends the statement. False when the
    /// transaction is unknown.
    bool addText(uint32_t id, PROCESS from, const std::string& text, bool last);
    /// Marks the transaction as unable to commit; the first reason stays.
    void damage(uint32_t id, const std::string& why);
    /// Ends the transaction and hands it out; nullopt when unknown.
    std::optional<Transaction> take(uint32_t id);
    std::size_t openCount() const { return m_transactions.size(); }

  private:
    uint32_t m_maxOpen;
    uint32_t m_maxTextBytes;
    uint32_t m_lastId = 0;
    std::map<uint32_t, Transaction> m_transactions;
};

}  // namespace hosttx

#endif  // HOSTTX_TRANSACTION_TABLE_H
