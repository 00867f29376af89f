// RadioClientFuzz: what the targets of the two radio clients (RMCI and RFTI) share.
// The fuzzer's thread is the main process, with the kernel's manual clock, so that no
// supervision or timer of a client ever expires during a run. A radio unit's server is
// a phantom of the server's name redirected to this process: the client's requests
// arrive here, and this process answers them in the server's name.
//
// Per input a fresh client is driven through a correct exchange until it waits for the
// answer that the input stands for; at that point the exchange is frozen (the request
// or reply that would move it on is held back), the input is delivered as that answer,
// and then the exchange runs on, unfrozen, to its end. The input's first word picks
// the answer: one of the client's own numbers is taken as it is, any other number picks
// one of them by its remainder. Its second word, the client word, counts from the
// client's own (0 is the client's), as a wrong one is only a dropped signal; the hunt
// and attach signals, which carry a name there, are taken as they are. The traces are
// off unless ULSA_TRACE says otherwise.
#ifndef ULSA_RADIO_CLIENT_FUZZ_H
#define ULSA_RADIO_CLIENT_FUZZ_H

#include "FuzzKernel.h"
#include "MainLoopPump.h"
#include "traceGroups.h"

#include <cstdlib>
#include <cstring>
#include <string>

namespace fuzzkernel {

/// The trace groups of the load module, silent unless ULSA_TRACE names levels.
inline void quietTraces() {
    setenv("ULSA_TRACE", "*=none,traceDefault=0+1", 0);
    traceGroups::registerApplicationTraceGroups();
}

/// An answer a client waits for: its number, which request (to the server) or reply
/// (to the client) is held back to keep the client waiting for it, and who sends it.
struct Awaited {
    SIGSELECT number;
    SIGSELECT held;
    bool fromServer;  // else from the unit's status service
    bool clientWord;  // the second word is the client's; else a name begins there
    uint32_t action;  // the owner's current action while the client runs
};

/// The entry of the table that the input's first word picks.
template <std::size_t N>
const Awaited& pick(const Awaited (&table)[N], const uint8_t* data) {
    SIGSELECT number;
    std::memcpy(&number, data, sizeof number);
    for (const Awaited& entry : table) {
        if (entry.number == number) {
            return entry;
        }
    }
    return table[number % N];
}

/// The input as the answer: the number of the entry, the client word taken relative
/// to the client's own.
inline union SIGNAL* answerOf(const uint8_t* data, std::size_t size, const Awaited& awaited,
                              uint32_t clientWord) {
    union SIGNAL* signal = signalOf(data, size, awaited.number);
    if (awaited.clientWord && size >= 2 * sizeof(uint32_t)) {
        uint32_t word;
        std::memcpy(&word, reinterpret_cast<uint8_t*>(signal) + 4, sizeof word);
        word += clientWord;
        std::memcpy(reinterpret_cast<uint8_t*>(signal) + 4, &word, sizeof word);
    }
    return signal;
}

/// A radio unit's server of that name: a phantom redirected to the calling process.
class ServerPhantom {
  public:
    explicit ServerPhantom(const std::string& name) {
        m_table[0] = {1, current_process()};
        m_pid = create_process(OS_PHANTOM, name.c_str(), nullptr, 0, 0, 0, 0, m_table, 0, 0);
        start(m_pid);
    }
    PROCESS pid() const { return m_pid; }
    /// Whether a received signal is a request to the server.
    bool isRequest(union SIGNAL* signal) const { return addressee(&signal) == m_pid; }
    /// Sends an answer in the server's name.
    void answer(union SIGNAL* signal, PROCESS to) const { send_w_s(&signal, m_pid, to); }

  private:
    PROCESS m_pid = 0;
    struct OS_redir_entry m_table[1];
};

/// The freeze: once the held signal has come, nothing from the server or the status
/// service reaches the client any more, and no request is answered, until thaw().
class Freeze {
  public:
    void arm(SIGSELECT held) {
        m_held = held;
        m_frozen = false;
    }
    void thaw() {
        m_held = 0;
        m_frozen = false;
    }
    /// True when the signal is to be dropped: it is the held one, or comes while frozen.
    bool drops(SIGSELECT number) {
        if (m_held != 0 && number == m_held) {
            m_frozen = true;
        }
        return m_frozen;
    }

  private:
    SIGSELECT m_held = 0;
    bool m_frozen = false;
};

}  // namespace fuzzkernel

#endif  // ULSA_RADIO_CLIENT_FUZZ_H
