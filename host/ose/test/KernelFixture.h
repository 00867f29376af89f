// What the kernel's tests share: the signals they send, a handler that records
// kernel errors instead of ending the test program, and a fixture that makes the
// test's thread a kernel process and gives every test a fresh kernel.
#ifndef OSE_KERNEL_FIXTURE_H
#define OSE_KERNEL_FIXTURE_H

#include "ose.h"
#include "oseHost.h"

#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <string>
#include <vector>

struct TestSig {
    SIGSELECT sigNo;
    uint32_t value;
};

union SIGNAL {
    SIGSELECT sigNo;
    TestSig test;
    OS_pcb pcb;
};

namespace osetest {

// Long enough for any signal to arrive on a loaded machine, short enough that a
// lost one fails the test instead of stalling it.
constexpr OSTIME kArrival = 5000;
// How long a signal that must not arrive is waited for.
constexpr OSTIME kAbsence = 50;

struct KernelErrorRecord {
    std::string call;
    uint32_t code;
};

inline std::mutex& errorMutex() {
    static std::mutex m;
    return m;
}

inline std::vector<KernelErrorRecord>& errorLog() {
    static std::vector<KernelErrorRecord> log;
    return log;
}

inline void recordError(const char* call, uint32_t code, const char*) {
    std::lock_guard<std::mutex> lock(errorMutex());
    errorLog().push_back(KernelErrorRecord{call, code});
}

/// Kernel errors since the last call, and forgets them.
inline std::vector<KernelErrorRecord> takeErrors() {
    std::lock_guard<std::mutex> lock(errorMutex());
    std::vector<KernelErrorRecord> taken;
    taken.swap(errorLog());
    return taken;
}

inline union SIGNAL* makeSig(SIGSELECT no, uint32_t value = 0) {
    union SIGNAL* s = alloc(sizeof(TestSig), no);
    s->test.value = value;
    return s;
}

inline uint32_t elapsedMs(std::chrono::steady_clock::time_point since) {
    return static_cast<uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                     std::chrono::steady_clock::now() - since)
                                     .count());
}

class KernelTest : public ::testing::Test {
  protected:
    void SetUp() override {
        m_previous = ose_set_error_handler(&recordError);
        takeErrors();
        me = ose_adopt_thread("tester");
        ASSERT_NE(me, 0u);
    }

    void TearDown() override {
        ose_leave_thread();
        ose_shutdown();
        EXPECT_TRUE(takeErrors().empty()) << "kernel errors nobody expected";
        ose_set_error_handler(m_previous);
    }

    /// Exactly one kernel error happened since the last check, by that call with that code.
    static void expectError(const char* call, uint32_t code) {
        const std::vector<KernelErrorRecord> errors = takeErrors();
        ASSERT_EQ(errors.size(), 1u) << "expected one error from " << call;
        EXPECT_EQ(errors[0].call, call);
        EXPECT_EQ(errors[0].code, code) << call;
    }

    /// Creates and starts a process whose entry reads its parameters from its environment.
    static PROCESS spawn(const char* name, OSENTRYPOINT* entry, OSADDRESS peer = 0,
                         OSADDRESS count = 0) {
        const PROCESS pid =
            create_process(OS_PRI_PROC, name, entry, 16384, 20, 0, 0, nullptr, 0, 0);
        set_envp(pid, "peer", peer);
        set_envp(pid, "count", count);
        start(pid);
        return pid;
    }

    PROCESS me = 0;

  private:
    OseErrorHandler m_previous = nullptr;
};

/// The selection of any signal.
inline const SIGSELECT kAny[] = {0};

constexpr SIGSELECT kDataSig = 100;
constexpr SIGSELECT kStopSig = 101;
constexpr SIGSELECT kReleaseSig = 102;
constexpr SIGSELECT kNeverSig = 103;

inline OSADDRESS param(const char* name) {
    return get_envp(current_process(), name);
}

/// Sends every signal back to its sender, until kStopSig.
inline OS_PROCESS(echoEntry) {
    for (;;) {
        union SIGNAL* s = receive(kAny);
        if (s->sigNo == kStopSig) {
            free_buf(&s);
            return;
        }
        const PROCESS from = sender(&s);
        send(&s, from);
    }
}

/// Holds the first signal it gets until kReleaseSig comes, then sends it back.
inline OS_PROCESS(holdEntry) {
    union SIGNAL* held = receive(kAny);
    static const SIGSELECT release[] = {1, kReleaseSig};
    union SIGNAL* go = receive(release);
    free_buf(&go);
    const PROCESS from = sender(&held);
    send(&held, from);
}

/// Sends "count" kDataSig signals numbered 0.. to "peer", then ends.
inline OS_PROCESS(producerEntry) {
    const auto peer = static_cast<PROCESS>(param("peer"));
    const auto count = static_cast<uint32_t>(param("count"));
    for (uint32_t i = 0; i < count; ++i) {
        union SIGNAL* s = makeSig(kDataSig, i);
        send(&s, peer);
    }
}

inline OS_PROCESS(returnEntry) {}

}  // namespace osetest

#endif  // OSE_KERNEL_FIXTURE_H
