#include "TransactionTable.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace hosttx {

std::string Transaction::whyNotCommittable() const {
    if (!damage.empty())
        return damage;
    if (!pending.empty()) {
        char text[80];
        std::snprintf(text, sizeof text, "a statement of process 0x%x lacks its last part",
                      pending.begin()->first);
        return text;
    }
    return std::string();
}

TransactionTable::TransactionTable(uint32_t maxOpen, uint32_t maxTextBytes)
    : m_maxOpen(maxOpen), m_maxTextBytes(maxTextBytes) {}

uint32_t TransactionTable::create(PROCESS creator) {
    if (m_transactions.size() >= m_maxOpen)
        return 0;
    // Ids go round without 0 and without one in use.
    do {
        ++m_lastId;
    } while (m_lastId == 0 || m_transactions.count(m_lastId) != 0);
    Transaction& made = m_transactions[m_lastId];
    made.id = m_lastId;
    made.creator = creator;
    return m_lastId;
}

Transaction* TransactionTable::find(uint32_t id) {
    auto found = m_transactions.find(id);
    return found != m_transactions.end() ? &found->second : nullptr;
}

bool TransactionTable::addResource(uint32_t id, PROCESS pid, uint32_t userParameter) {
    Transaction* transaction = find(id);
    if (transaction == nullptr)
        return false;
    for (const Resource& resource : transaction->resources) {
        if (resource.pid == pid)
            return true;
    }
    transaction->resources.push_back(Resource{pid, userParameter});
    return true;
}

bool TransactionTable::addText(uint32_t id, PROCESS from, const std::string& text, bool last) {
    Transaction* transaction = find(id);
    if (transaction == nullptr)
        return false;
    if (!transaction->damage.empty())
        return true;
    if (text.size() >
        m_maxTextBytes - std::min<std::size_t>(transaction->textBytes, m_maxTextBytes)) {
        damage(id, "its SQL text exceeds " + std::to_string(m_maxTextBytes) + " bytes");
        transaction->pending.clear();
        return true;
    }
    transaction->textBytes += text.size();
    std::string& statement = transaction->pending[from];
    statement += text;
    if (last) {
        transaction->statements.push_back(std::move(statement));
        transaction->pending.erase(from);
    }
    return true;
}

void TransactionTable::damage(uint32_t id, const std::string& why) {
    Transaction* transaction = find(id);
    if (transaction != nullptr && transaction->damage.empty())
        transaction->damage = why;
}

std::optional<Transaction> TransactionTable::take(uint32_t id) {
    auto found = m_transactions.find(id);
    if (found == m_transactions.end())
        return std::nullopt;
    Transaction taken = std::move(found->second);
    m_transactions.erase(found);
    return taken;
}

}  // namespace hosttx
