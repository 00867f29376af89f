// The client side of the transaction server's protocol, as the load module speaks
// it, for the tests; and a process that stands for a second resource.
#ifndef HOSTTX_TEST_TRANSACTION_CLIENT_H
#define HOSTTX_TEST_TRANSACTION_CLIENT_H

#include "TransactionSignals.h"
#include "ose.h"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <string>

namespace txtest {

constexpr OSTIME kArrival = 10000;  // long enough on a loaded machine
constexpr OSTIME kAbsence = 200;    // how long a signal that must not come is waited for

inline uint32_t wordAt(union SIGNAL* signal, std::size_t offset) {
    uint32_t value = 0;
    std::memcpy(&value, reinterpret_cast<unsigned char*>(signal) + offset, sizeof value);
    return value;
}

inline union SIGNAL* words(SIGSELECT number, std::initializer_list<uint32_t> fields) {
    union SIGNAL* signal = alloc(static_cast<OSBUFSIZE>(4 + 4 * fields.size()), number);
    std::size_t offset = 4;
    for (uint32_t field : fields) {
        std::memcpy(reinterpret_cast<unsigned char*>(signal) + offset, &field, sizeof field);
        offset += 4;
    }
    return signal;
}

/// Waits for the signal; null (and a test failure) when it does not come.
inline union SIGNAL* await(SIGSELECT number, OSTIME timeout = kArrival) {
    const SIGSELECT select[] = {1, number};
    union SIGNAL* signal = receive_w_tmo(timeout, select);
    EXPECT_NE(signal, nullptr) << "signal 0x" << std::hex << number << " did not come";
    return signal;
}

/// Whether the signal comes within kAbsence; it is freed.
inline bool comes(SIGSELECT number) {
    const SIGSELECT select[] = {1, number};
    union SIGNAL* signal = receive_w_tmo(kAbsence, select);
    const bool came = signal != nullptr;
    if (came)
        free_buf(&signal);
    return came;
}

/// Answer word at offset of the awaited answer, or 0xFFFFFFFF.
inline uint32_t answerWord(SIGSELECT number, std::size_t offset) {
    union SIGNAL* signal = await(number);
    if (signal == nullptr)
        return 0xFFFFFFFFu;
    const uint32_t value = wordAt(signal, offset);
    free_buf(&signal);
    return value;
}

/// Creates a transaction; its id (0 with result not 0).
inline uint32_t create(PROCESS server, uint32_t* resultOut = nullptr) {
    union SIGNAL* request = words(hosttx::TARVO_TRANS_CREATE_REQ, {1});
    send(&request, server);
    union SIGNAL* answer = await(hosttx::TARVO_TRANS_CREATE_RSP);
    if (answer == nullptr)
        return 0;
    const uint32_t id = wordAt(answer, 4);
    if (resultOut != nullptr)
        *resultOut = wordAt(answer, 8);
    else
        EXPECT_EQ(wordAt(answer, 8), hosttx::TARVO_TRANI_OK);
    free_buf(&answer);
    return id;
}

/// Registers the resource process, sent in its name as the client does.
inline void registerResource(PROCESS server, uint32_t id, uint32_t userParameter,
                             PROCESS resource) {
    union SIGNAL* request = words(hosttx::TARVO_TRANS_REGISTER_REQ, {id, userParameter});
    send_w_s(&request, resource, server);
}

/// Hands SQL text over as the client does: 16000 characters a part, the rest last.
inline void sendSql(PROCESS server, uint32_t id, const std::string& text) {
    std::size_t at = 0;
    while (text.size() - at > hosttx::kSqlPartLength) {
        union SIGNAL* part = alloc(hosttx::kSqlPartSize, hosttx::TARVO_TRANS_SQL_PART);
        auto* bytes = reinterpret_cast<unsigned char*>(part);
        std::memcpy(bytes + 4, &id, 4);
        std::memcpy(bytes + 8, text.data() + at, hosttx::kSqlPartLength);
        std::memset(bytes + 8 + hosttx::kSqlPartLength, 0, 4);
        send(&part, server);
        at += hosttx::kSqlPartLength;
    }
    const std::size_t rest = text.size() - at;
    union SIGNAL* last = alloc(static_cast<OSBUFSIZE>(12 + rest), hosttx::TARVO_TRANS_SQL_LAST);
    auto* bytes = reinterpret_cast<unsigned char*>(last);
    std::memcpy(bytes + 4, &id, 4);
    std::memcpy(bytes + 8, text.data() + at, rest);
    std::memset(bytes + 8 + rest, 0, 4);
    send(&last, server);
}

inline uint32_t request(PROCESS server, SIGSELECT number, SIGSELECT answerNumber, uint32_t id) {
    union SIGNAL* signal = words(number, {id});
    send(&signal, server);
    union SIGNAL* answer = await(answerNumber);
    if (answer == nullptr)
        return 0xFFFFFFFFu;
    EXPECT_EQ(wordAt(answer, 4), id);
    const uint32_t result = wordAt(answer, 8);
    free_buf(&answer);
    return result;
}

inline uint32_t commit(PROCESS server, uint32_t id) {
    return request(server, hosttx::TARVO_TRANS_COMMIT_REQ, hosttx::TARVO_TRANS_COMMIT_RSP, id);
}

inline uint32_t rollback(PROCESS server, uint32_t id) {
    return request(server, hosttx::TARVO_TRANS_ROLLBACK_REQ, hosttx::TARVO_TRANS_ROLLBACK_RSP, id);
}

inline uint32_t prepare(PROCESS server, uint32_t id) {
    return request(server, hosttx::TARVO_TRANS_PREPARE_REQ, hosttx::TARVO_TRANS_PREPARE_RSP, id);
}

struct Indication {
    SIGSELECT number = 0;
    PROCESS from = 0;
    uint32_t userParameter = 0;
    uint32_t id = 0;
    bool operator==(const Indication& o) const {
        return number == o.number && from == o.from && userParameter == o.userParameter &&
               id == o.id;
    }
};

inline std::ostream& operator<<(std::ostream& out, const Indication& i) {
    return out << "{0x" << std::hex << i.number << " from 0x" << i.from << std::dec << " param "
               << i.userParameter << " id " << i.id << "}";
}

/// The next commit or rollback indication, or one with number 0 when none comes.
inline Indication nextIndication(OSTIME timeout = kArrival) {
    static const SIGSELECT select[] = {2, hosttx::TARVO_TRANS_COMMIT_IND,
                                       hosttx::TARVO_TRANS_ROLLBACK_IND};
    union SIGNAL* signal = receive_w_tmo(timeout, select);
    Indication indication;
    if (signal == nullptr)
        return indication;
    indication.number = wordAt(signal, 0);
    indication.from = sender(&signal);
    indication.userParameter = wordAt(signal, 4);
    indication.id = wordAt(signal, 8);
    free_buf(&signal);
    return indication;
}

/// A process that sends every signal it gets on to its "peer": it stands for a
/// resource of its own, and its forwarded signals tell the test what it got.
inline OS_PROCESS(forwarderMain) {
    const auto peer = static_cast<PROCESS>(get_envp(current_process(), "peer"));
    static const SIGSELECT any[] = {0};
    for (;;) {
        union SIGNAL* signal = receive(any);
        send(&signal, peer);
    }
}

inline PROCESS startForwarder(const char* name) {
    const PROCESS pid =
        create_process(OS_PRI_PROC, name, forwarderMain, 16384, 20, 0, 0, nullptr, 0, 0);
    set_envp(pid, "peer", current_process());
    start(pid);
    return pid;
}

}  // namespace txtest

#endif  // HOSTTX_TEST_TRANSACTION_CLIENT_H
