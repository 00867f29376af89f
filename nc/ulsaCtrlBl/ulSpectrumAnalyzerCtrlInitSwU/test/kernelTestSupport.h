// Helpers of this unit's tests: the test thread as a kernel process, a database agent
// that answers, reports from other processes to the test, and a safe way to kill.
#ifndef ULSA_CTRL_INIT_KERNEL_TEST_SUPPORT_H
#define ULSA_CTRL_INIT_KERNEL_TEST_SUPPORT_H

#include "oseHost.h"
#include "tarvo_dbagent.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace testSupport {

// Errors that processes report, kept by the detail the kernel gives ("error 0x..."):
// the handler runs on the reporting process's thread.
struct ReportedErrors {
    std::mutex lock;
    std::vector<std::string> texts;
};

inline ReportedErrors& reportedErrors() {
    static ReportedErrors errors;
    return errors;
}

inline void recordError(const char* call, uint32_t, const char* detail) {
    std::lock_guard<std::mutex> guard(reportedErrors().lock);
    reportedErrors().texts.push_back(std::string(call) + ": " + detail);
}

inline void clearErrors() {
    std::lock_guard<std::mutex> guard(reportedErrors().lock);
    reportedErrors().texts.clear();
}

inline bool noErrors() {
    std::lock_guard<std::mutex> guard(reportedErrors().lock);
    return reportedErrors().texts.empty();
}

// Whether a process has reported the error code, waiting up to a second for it.
inline bool errorReported(uint32_t code) {
    char expected[32];
    std::snprintf(expected, sizeof expected, "error 0x%x ", code);
    for (int i = 0; i < 500; ++i) {
        {
            std::lock_guard<std::mutex> guard(reportedErrors().lock);
            for (const std::string& error : reportedErrors().texts) {
                if (error.find(expected) != std::string::npos) {
                    return true;
                }
            }
        }
        delay(2);
    }
    return false;
}

inline PROCESS& tester() {
    static PROCESS pid = 0;
    return pid;
}

constexpr SIGSELECT kReport = 0x6100;

// A signal to the test: two words behind the number.
inline void report(uint32_t kind, uint32_t value) {
    union SIGNAL* signal = alloc(12, kReport);
    const uint32_t fields[2] = {kind, value};
    std::memcpy(reinterpret_cast<unsigned char*>(signal) + 4, fields, sizeof fields);
    send(&signal, tester());
}

// The reports that arrive within five seconds each, up to count.
inline std::vector<std::pair<uint32_t, uint32_t>> collectReports(std::size_t count) {
    std::vector<std::pair<uint32_t, uint32_t>> reports;
    static const SIGSELECT selectReport[] = {1, kReport};
    while (reports.size() < count) {
        union SIGNAL* signal = receive_w_tmo(5000, selectReport);
        if (signal == nullptr) {
            break;
        }
        uint32_t fields[2];
        std::memcpy(fields, reinterpret_cast<unsigned char*>(signal) + 4, sizeof fields);
        reports.emplace_back(fields[0], fields[1]);
        free_buf(&signal);
    }
    return reports;
}

inline void sendTo(PROCESS to, SIGSELECT number) {
    union SIGNAL* signal = alloc(8, number);
    send(&signal, to);
}

inline uint32_t processStatus(PROCESS pid) {
    struct OS_pcb* pcb = get_pcb(pid);
    if (pcb == nullptr) {
        return OS_STATE_ENDED;
    }
    const uint32_t status = pcb->status;
    free_buf(reinterpret_cast<union SIGNAL**>(&pcb));
    return status;
}

// Waits until the process blocks in a receive, so that a kill unwinds it from there
// and not from the middle of a message.
inline bool waitUntilReceiving(PROCESS pid) {
    for (int i = 0; i < 1000; ++i) {
        if (processStatus(pid) == OS_STATE_RECEIVE) {
            return true;
        }
        delay(2);
    }
    return false;
}

// Whether the capture holds the text, waiting up to five seconds for it.
template <typename Capture>
bool waitForTrace(const Capture& capture, const std::string& text) {
    for (int i = 0; i < 1000; ++i) {
        if (capture.contains(text)) {
            return true;
        }
        delay(5);
    }
    return false;
}

// The identity of a process by name, waiting up to a second for it.
inline PROCESS find(const char* name) {
    union SIGNAL* huntSignal = alloc(4, 0x6101);
    hunt(name, 0, nullptr, &huntSignal);
    static const SIGSELECT selectHunt[] = {1, 0x6101};
    union SIGNAL* found = receive_w_tmo(1000, selectHunt);
    if (found == nullptr) {
        return 0;
    }
    const PROCESS pid = sender(&found);
    free_buf(&found);
    return pid;
}

// Called by the agent when the request arrives, before it answers.
inline void (*&onAgentRequest())() {
    static void (*hook)() = nullptr;
    return hook;
}

// "Osa_dbAgent_proc": answers every request with a table of made-up addresses.
inline OS_PROCESS(testDatabaseAgent) {
    static const SIGSELECT selectRequest[] = {1, TARVO_DBAGENT_REQ};
    for (;;) {
        union SIGNAL* request = receive(selectRequest);
        const PROCESS client = sender(&request);
        free_buf(&request);
        if (onAgentRequest() != nullptr) {
            onAgentRequest()();
        }
        union SIGNAL* reply = alloc(kTarvoDbAgentReplySize, TARVO_DBAGENT_REPLY);
        for (std::size_t i = 0; i < kTarvoDbAgentTableSize; ++i) {
            const std::uintptr_t value = 0x2000 + i;
            std::memcpy(reinterpret_cast<unsigned char*>(reply) + kTarvoDbAgentAddressOffset +
                            i * sizeof value,
                        &value, sizeof value);
        }
        send(&reply, client);
    }
}

inline PROCESS startDatabaseAgent() {
    const PROCESS pid = create_process(OS_PRI_PROC, kTarvoDbAgentName, testDatabaseAgent, 8192, 10,
                                       0, 0, nullptr, 0, 0);
    start(pid);
    return pid;
}

}  // namespace testSupport

#endif  // ULSA_CTRL_INIT_KERNEL_TEST_SUPPORT_H
