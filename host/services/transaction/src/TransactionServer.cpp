#include "TransactionServer.h"

#include "HostDbTrace.h"
#include "SignalView.h"
#include "TransactionSignals.h"
#include "oseHost.h"

#include <cstdio>
#include <cstring>

namespace hosttx {

using hostsvc::makeSignal;

namespace {

TraceObject* trace() {
    return hostdb::transactionTrace();
}

// A sender given with send_w_s may be any number: only a process the kernel knows
// gets an answer, since sending to another is a kernel error.
bool knownProcess(PROCESS pid) {
    char name[64];
    return pid != 0 && ose_process_name(pid, name, sizeof name);
}

template <std::size_t N>
void answer(PROCESS to, SIGSELECT number, const uint32_t (&fields)[N]) {
    if (!knownProcess(to)) {
        TRACE(trace(), 1, "answer 0x%x to unknown process 0x%x dropped", number, to);
        return;
    }
    union SIGNAL* signal = makeSignal(number, fields);
    send(&signal, to);
}

}  // namespace

TransactionServer::TransactionServer(const TransactionServerConfig& config)
    : m_table(config.maxOpenTransactions, config.maxTextBytes),
      m_applier(hostdb::resolveConnectString(config.database)) {}

void TransactionServer::handle(union SIGNAL** signal) {
    SIGSELECT number = 0;
    std::memcpy(&number, *signal, sizeof number);
    const PROCESS from = sender(signal);
    const SignalView fields(*signal, sigsize(signal));
    switch (number) {
        case TARVO_TRANS_CREATE_REQ:
            create(from, fields);
            break;
        case TARVO_TRANS_REGISTER_REQ:
            registerResource(from, fields);
            break;
        case TARVO_TRANS_SQL_LAST:
            sqlText(from, fields, true);
            break;
        case TARVO_TRANS_SQL_PART:
            sqlText(from, fields, false);
            break;
        case TARVO_TRANS_PREPARE_REQ:
            prepare(from, fields);
            break;
        case TARVO_TRANS_COMMIT_REQ:
            commit(from, fields);
            break;
        case TARVO_TRANS_ROLLBACK_REQ:
            rollback(from, fields);
            break;
        case TARVO_TRANS_ATTACH_REQ: {
            if (knownProcess(from)) {
                union SIGNAL* confirm = alloc(sizeof(SIGSELECT), TARVO_TRANS_ATTACH_CFM);
                send(&confirm, from);
            }
            break;
        }
        default:
            TRACE(trace(), 1, "unexpected signal 0x%x from 0x%x dropped", number, from);
            break;
    }
}

void TransactionServer::malformed(SIGSELECT number, PROCESS from, OSBUFSIZE size) {
    TRACE(trace(), 1, "malformed signal 0x%x of %u bytes from 0x%x dropped", number, size, from);
}

void TransactionServer::create(PROCESS from, const SignalView& fields) {
    uint32_t idArgument = 0;
    if (!fields.word(4, idArgument))
        return malformed(TARVO_TRANS_CREATE_REQ, from, fields.size());
    const uint32_t id = m_table.create(from);
    if (id == 0)
        TRACE(trace(), 1, "no transaction created for 0x%x: %u are open", from,
              static_cast<unsigned>(m_table.openCount()));
    else
        TRACE(trace(), 4, "transaction %u created for 0x%x", id, from);
    answer(from, TARVO_TRANS_CREATE_RSP, {id, id != 0 ? TARVO_TRANI_OK : TARVO_TRANI_UNAVAILABLE});
}

void TransactionServer::registerResource(PROCESS from, const SignalView& fields) {
    uint32_t id = 0;
    uint32_t userParameter = 0;
    if (!fields.word(4, id) || !fields.word(8, userParameter))
        return malformed(TARVO_TRANS_REGISTER_REQ, from, fields.size());
    if (!knownProcess(from)) {
        TRACE(trace(), 1, "registration in transaction %u for unknown process 0x%x dropped", id,
              from);
        return;
    }
    const bool found = m_table.addResource(id, from, userParameter);
    if (found)
        TRACE(trace(), 4, "process 0x%x registered in transaction %u", from, id);
    else
        TRACE(trace(), 1, "registration of 0x%x in unknown transaction %u refused", from, id);
    answer(from, TARVO_TRANS_REGISTER_RSP,
           {id, userParameter, found ? TARVO_TRANI_OK : TARVO_TRANI_ID_NOT_FOUND});
}

void TransactionServer::sqlText(PROCESS from, const SignalView& fields, bool last) {
    const SIGSELECT number = last ? TARVO_TRANS_SQL_LAST : TARVO_TRANS_SQL_PART;
    uint32_t id = 0;
    if (!fields.word(4, id))
        return malformed(number, from, fields.size());
    std::string text;
    const std::size_t limit = last ? fields.size() : kSqlPartLength + 1;
    if (!fields.text(kSqlTextOffset, limit, text)) {
        malformed(number, from, fields.size());
        // A statement with a part missing must not be stored in part.
        char why[80];
        std::snprintf(why, sizeof why, "a malformed part of its SQL text came from 0x%x", from);
        m_table.damage(id, why);
        return;
    }
    if (!m_table.addText(id, from, text, last))
        TRACE(trace(), 1, "SQL text for unknown transaction %u from 0x%x dropped", id, from);
}

void TransactionServer::prepare(PROCESS from, const SignalView& fields) {
    uint32_t id = 0;
    if (!fields.word(4, id))
        return malformed(TARVO_TRANS_PREPARE_REQ, from, fields.size());
    const Transaction* transaction = m_table.find(id);
    uint32_t result = TARVO_TRANI_ID_NOT_FOUND;
    if (transaction != nullptr) {
        const std::string why = transaction->whyNotCommittable();
        if (!why.empty())
            TRACE(trace(), 1, "transaction %u cannot be prepared: %s", id, why.c_str());
        result = why.empty() ? TARVO_TRANI_OK : TARVO_TRANI_FAILURE;
    }
    answer(from, TARVO_TRANS_PREPARE_RSP, {id, result});
}

void TransactionServer::commit(PROCESS from, const SignalView& fields) {
    uint32_t id = 0;
    if (!fields.word(4, id))
        return malformed(TARVO_TRANS_COMMIT_REQ, from, fields.size());
    std::optional<Transaction> transaction = m_table.take(id);
    if (!transaction) {
        TRACE(trace(), 1, "commit of unknown transaction %u from 0x%x refused", id, from);
        answer(from, TARVO_TRANS_COMMIT_RSP, {id, TARVO_TRANI_ID_NOT_FOUND});
        return;
    }
    std::string failure = transaction->whyNotCommittable();
    const bool applied = failure.empty() && m_applier.apply(transaction->statements, failure);
    if (applied) {
        TRACE(trace(), 4, "transaction %u committed with %u statements", id,
              static_cast<unsigned>(transaction->statements.size()));
        tell(*transaction, TARVO_TRANS_COMMIT_IND);
    } else {
        TRACE(trace(), 1, "transaction %u rolled back at commit: %s", id, failure.c_str());
        tell(*transaction, TARVO_TRANS_ROLLBACK_IND);
    }
    answer(from, TARVO_TRANS_COMMIT_RSP, {id, applied ? TARVO_TRANI_OK : TARVO_TRANI_FAILURE});
}

void TransactionServer::rollback(PROCESS from, const SignalView& fields) {
    uint32_t id = 0;
    if (!fields.word(4, id))
        return malformed(TARVO_TRANS_ROLLBACK_REQ, from, fields.size());
    std::optional<Transaction> transaction = m_table.take(id);
    if (!transaction) {
        TRACE(trace(), 1, "rollback of unknown transaction %u from 0x%x refused", id, from);
        answer(from, TARVO_TRANS_ROLLBACK_RSP, {id, TARVO_TRANI_ID_NOT_FOUND});
        return;
    }
    TRACE(trace(), 4, "transaction %u rolled back, %u statements dropped", id,
          static_cast<unsigned>(transaction->statements.size()));
    tell(*transaction, TARVO_TRANS_ROLLBACK_IND);
    answer(from, TARVO_TRANS_ROLLBACK_RSP, {id, TARVO_TRANI_OK});
}

void TransactionServer::tell(const Transaction& transaction, SIGSELECT indication) {
    for (const Resource& resource : transaction.resources)
        answer(resource.pid, indication, {resource.userParameter, transaction.id});
}

}  // namespace hosttx
