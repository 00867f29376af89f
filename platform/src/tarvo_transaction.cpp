// TarvoTransaction_: the client of the transaction server, run in the caller's process.
#include "tarvo_transaction.h"

#include "TarvoTransactionTuning.h"
#include "osa_findserver.h"

#include "dynTrace.h"

#include <atomic>
#include <cstring>
#include <string>

namespace {

constexpr OSTIME kDefaultAnswerWaitMs = 10000;
constexpr OSTIME kAttachRetryMs = 100;

std::atomic<OsaServerBlock*> foundServer{nullptr};
std::atomic<OSTIME> answerWaitMs{kDefaultAnswerWaitMs};

// The client's own trace object; made once and kept for the life of the program.
const TraceObject* ownTrace() {
    static TraceHandle* handle = new TraceHandle("TarvoTransaction");
    return handle->get();
}

// Traces go to the common object and to the client's own: a text comes out once when
// either has the level on.
#define TX_TRACE(level, ...)                                                          \
    do {                                                                              \
        const TraceObject* txObj_ = ownTrace();                                       \
        if (!traceLevelOn(txObj_, (level)))                                           \
            txObj_ = traceRefGet(traceDefaultRef);                                    \
        if (traceLevelOn(txObj_, (level)))                                            \
            traceText(txObj_, (level), __FILE__, __LINE__, traceFormat(__VA_ARGS__)); \
    } while (0)

unsigned char* bytes(union SIGNAL* signal) {
    return reinterpret_cast<unsigned char*>(signal);
}

void putWord(union SIGNAL* signal, std::size_t offset, uint32_t word) {
    std::memcpy(bytes(signal) + offset, &word, sizeof word);
}

// The word at offset, or TARVO_TRANI_FAILURE when the signal is too short for it.
uint32_t wordOr(union SIGNAL* signal, std::size_t offset, uint32_t otherwise) {
    if (sigsize(&signal) < offset + sizeof(uint32_t)) {
        TX_TRACE(1, "Short answer of %u bytes from the Transaction Server",
                 static_cast<unsigned>(sigsize(&signal)));
        return otherwise;
    }
    uint32_t word;
    std::memcpy(&word, bytes(signal) + offset, sizeof word);
    return word;
}

// The server's process while its block says it runs; else found anew, or 0.
PROCESS server() {
    OsaServerBlock* block = foundServer.load();
    if (block != nullptr && block->status != 0) {
        return block->pid;
    }
    PROCESS pid = 0;
    if (Osa_findServer(kTarvoTransactionServerName, &block, &pid) != OSA_OK) {
        TX_TRACE(9, "Transaction Server not found");
        return 0;
    }
    foundServer = block;
    return pid;
}

union SIGNAL* request(OSBUFSIZE size, SIGSELECT number) {
    union SIGNAL* signal = alloc(size, number);
    std::memset(bytes(signal) + sizeof(SIGSELECT), 0, size - sizeof(SIGSELECT));
    return signal;
}

// Waits for the answer as long as the same server runs; null when it has gone.
union SIGNAL* awaitAnswer(SIGSELECT number, PROCESS serverPid) {
    const SIGSELECT select[] = {1, number};
    for (;;) {
        union SIGNAL* answer = receive_w_tmo(answerWaitMs.load(), select);
        if (answer != nullptr) {
            return answer;
        }
        if (server() != serverPid) {
            TX_TRACE(9, "Transaction Server not found");
            return nullptr;
        }
    }
}

// Sends a request of one transaction id and, synchronously, waits for its result.
uint32_t simpleRequest(SIGSELECT number, SIGSELECT answerNumber, uint32_t transactionId,
                       uint32_t synchronous) {
    const PROCESS pid = server();
    if (pid == 0) {
        return TARVO_TRANI_FAILURE;
    }
    union SIGNAL* signal = request(2 * sizeof(uint32_t), number);
    putWord(signal, kTarvoTransIdOffset, transactionId);
    send(&signal, pid);
    if (synchronous == 0) {
        return TARVO_TRANI_OK;
    }
    union SIGNAL* answer = awaitAnswer(answerNumber, pid);
    if (answer == nullptr) {
        return TARVO_TRANI_FAILURE;
    }
    const uint32_t result = wordOr(answer, kTarvoTransResultOffset, TARVO_TRANI_FAILURE);
    free_buf(&answer);
    return result;
}

void sendSql(SIGSELECT number, uint32_t transactionId, const char* text, std::size_t length,
             OSBUFSIZE size, PROCESS pid) {
    union SIGNAL* signal = request(size, number);
    putWord(signal, kTarvoTransIdOffset, transactionId);
    std::memcpy(bytes(signal) + kTarvoTransSqlTextOffset, text, length);
    bytes(signal)[kTarvoTransSqlTextOffset + length] = '\0';
    send(&signal, pid);
}

}  // namespace

namespace tarvotx {

void setAnswerWait(OSTIME ms) {
    answerWaitMs = ms;
}

void forgetServer() {
    foundServer = nullptr;
}

}  // namespace tarvotx

uint32_t TarvoTransaction_serviceAttach_e() {
    static const SIGSELECT selectConfirm[] = {1, TARVO_TRANS_ATTACH_CFM};
    static const SIGSELECT selectAnswer[] = {2, TARVO_TRANS_ATTACH_CFM,
                                             TARVO_TRANS_SERVER_DOWN_IND};
    for (;;) {
        const PROCESS pid = server();
        if (pid != 0) {
            while (union SIGNAL* stale = receive_w_tmo(0, selectConfirm)) {
                free_buf(&stale);
            }
            union SIGNAL* down = alloc(sizeof(SIGSELECT), TARVO_TRANS_SERVER_DOWN_IND);
            attach(&down, pid);
            union SIGNAL* attachReq = alloc(sizeof(SIGSELECT), TARVO_TRANS_ATTACH_REQ);
            send(&attachReq, pid);
            union SIGNAL* answer = receive(selectAnswer);
            if (answer == nullptr) {
                return TARVO_TRANI_FAILURE;  // the calling process is being ended
            }
            SIGSELECT number;
            std::memcpy(&number, answer, sizeof number);
            free_buf(&answer);
            if (number == TARVO_TRANS_ATTACH_CFM) {
                return TARVO_TRANI_OK;
            }
            // The server ended before it confirmed: find it anew rather than trust its
            // block, whose supervisor may have ended with it (a restarted kernel).
            foundServer = nullptr;
        }
        delay(kAttachRetryMs);
    }
}

uint32_t TarvoTransaction_create_e(uint32_t idArgument, uint32_t* transactionId,
                                   uint32_t synchronous) {
    TX_TRACE(2, "TarvoTransaction_create_e(%d,0x%x,%d)", static_cast<int>(idArgument),
             static_cast<unsigned>(reinterpret_cast<uintptr_t>(transactionId)),
             static_cast<int>(synchronous));
    if (transactionId != nullptr) {
        *transactionId = 0;
    }
    const PROCESS pid = server();
    if (pid == 0) {
        return TARVO_TRANI_FAILURE;
    }
    union SIGNAL* signal = request(2 * sizeof(uint32_t), TARVO_TRANS_CREATE_REQ);
    putWord(signal, kTarvoTransIdOffset, idArgument);
    send(&signal, pid);
    if (synchronous == 0) {
        TX_TRACE(9, "Create transaction request has been send to server...");
        return TARVO_TRANI_OK;
    }
    union SIGNAL* answer = awaitAnswer(TARVO_TRANS_CREATE_RSP, pid);
    if (answer == nullptr) {
        return TARVO_TRANI_FAILURE;
    }
    const uint32_t result = wordOr(answer, kTarvoTransCreateResultOffset, TARVO_TRANI_FAILURE);
    const uint32_t id = wordOr(answer, kTarvoTransIdOffset, 0);
    free_buf(&answer);
    if (result == TARVO_TRANI_OK) {
        if (transactionId != nullptr) {
            *transactionId = id;
        }
        TX_TRACE(9, "A new transaction is created");
    } else {
        TX_TRACE(9, "The transaction is not created! (%u)", result);
    }
    return result;
}

uint32_t TarvoTransaction_registerResource_e(uint32_t transactionId, uint32_t userParameter,
                                             uint32_t synchronous) {
    return TarvoTransaction_registerResourceWithProc_e(transactionId, userParameter,
                                                       current_process(), synchronous);
}

uint32_t TarvoTransaction_registerResourceWithProc_e(uint32_t transactionId, uint32_t userParameter,
                                                     PROCESS process, uint32_t synchronous) {
    TX_TRACE(2, "TarvoTransaction_registerResourceWithProc_e(%u,%u,0x%x,%u)", transactionId,
             userParameter, process, synchronous);
    // The answer goes to the registered process: only the caller's own can wait for it.
    if (synchronous != 0 && process != current_process()) {
        return TARVO_TRANI_FAILURE;
    }
    const PROCESS pid = server();
    if (pid == 0) {
        return TARVO_TRANI_FAILURE;
    }
    union SIGNAL* signal = request(3 * sizeof(uint32_t), TARVO_TRANS_REGISTER_REQ);
    putWord(signal, kTarvoTransIdOffset, transactionId);
    putWord(signal, kTarvoTransIdOffset + sizeof(uint32_t), userParameter);
    send_w_s(&signal, process, pid);
    if (synchronous == 0) {
        return TARVO_TRANI_OK;
    }
    union SIGNAL* answer = awaitAnswer(TARVO_TRANS_REGISTER_RSP, pid);
    if (answer == nullptr) {
        return TARVO_TRANI_FAILURE;
    }
    const uint32_t result = wordOr(answer, kTarvoTransRegisterResultOffset, TARVO_TRANI_FAILURE);
    free_buf(&answer);
    return result;
}

uint32_t TarvoTransaction_prepare_e(uint32_t /*transactionId*/) {
    return TARVO_TRANI_OK;
}

uint32_t TarvoTransaction_commit_e(uint32_t transactionId, uint32_t synchronous) {
    TX_TRACE(2, "TarvoTransaction_commit_e(%u,%u)", transactionId, synchronous);
    return simpleRequest(TARVO_TRANS_COMMIT_REQ, TARVO_TRANS_COMMIT_RSP, transactionId,
                         synchronous);
}

uint32_t TarvoTransaction_rollBack_e(uint32_t transactionId, uint32_t synchronous) {
    TX_TRACE(2, "TarvoTransaction_rollBack_e(%u,%u)", transactionId, synchronous);
    return simpleRequest(TARVO_TRANS_ROLLBACK_REQ, TARVO_TRANS_ROLLBACK_RSP, transactionId,
                         synchronous);
}

void TarvoTransaction_databaseUpdateSQL(uint32_t transactionId, const char* sql) {
    if (sql == nullptr) {
        TX_TRACE(1, "TarvoTransaction_databaseUpdateSQL(%u): no SQL text", transactionId);
        return;
    }
    TX_TRACE(9, "Update the database with SQL command: %s", sql);
    const PROCESS pid = server();
    if (pid == 0) {
        return;
    }
    std::size_t remaining = std::strlen(sql);
    const char* next = sql;
    while (remaining > kTarvoTransSqlPartLength) {
        sendSql(TARVO_TRANS_SQL_PART, transactionId, next, kTarvoTransSqlPartLength,
                static_cast<OSBUFSIZE>(kTarvoTransSqlTextOffset + kTarvoTransSqlPartLength + 4),
                pid);
        next += kTarvoTransSqlPartLength;
        remaining -= kTarvoTransSqlPartLength;
    }
    sendSql(TARVO_TRANS_SQL_LAST, transactionId, next, remaining,
            static_cast<OSBUFSIZE>(12 + remaining), pid);
}
