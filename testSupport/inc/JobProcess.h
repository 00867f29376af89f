// JobProcess: a kernel process that runs pieces of test code sent to it, so that a
// test can act as several processes (providers, subscribers) of one kernel.
#ifndef TEST_SUPPORT_JOB_PROCESS_H
#define TEST_SUPPORT_JOB_PROCESS_H

#include "ose.h"
#include "oseHost.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

namespace testsupport {

constexpr SIGSELECT kRunJob = 0x7E5801;  // 8: address of a Job
constexpr SIGSELECT kJobDone = 0x7E5802;
constexpr SIGSELECT kStopJobs = 0x7E5803;

struct Job {
    std::function<void()> work;
};

/// Runs the job a kRunJob signal carries and answers its sender with kJobDone.
inline void runJob(union SIGNAL** signal) {
    Job* job = nullptr;
    std::memcpy(&job, reinterpret_cast<unsigned char*>(*signal) + 8, sizeof job);
    job->work();
    union SIGNAL* done = alloc(4, kJobDone);
    send(&done, sender(signal));
}

/// Sends work to a process that runs jobs and waits for it; the caller must be a
/// kernel process. Fails the test after timeoutMs.
inline void runOn(PROCESS pid, std::function<void()> work, OSTIME timeoutMs = 5000) {
    // On a time-out the process may still run the job later: it is left to leak.
    auto* job = new Job{std::move(work)};
    union SIGNAL* run = alloc(16, kRunJob);
    std::memcpy(reinterpret_cast<unsigned char*>(run) + 8, &job, sizeof job);
    send(&run, pid);
    static const SIGSELECT done[] = {1, kJobDone};
    union SIGNAL* answer = receive_from(timeoutMs, done, pid);
    ASSERT_NE(answer, nullptr) << "process 0x" << std::hex << pid << " did not run the job";
    free_buf(&answer);
    delete job;
}

inline OS_PROCESS(jobProcessMain) {
    static const SIGSELECT any[] = {0};
    for (;;) {
        union SIGNAL* signal = receive(any);
        if (signal == nullptr)
            continue;  // killed while about to wait: the next kernel call unwinds
        SIGSELECT sigNo;
        std::memcpy(&sigNo, signal, sizeof sigNo);
        if (sigNo == kRunJob)
            runJob(&signal);
        free_buf(&signal);
        if (sigNo == kStopJobs)
            return;
    }
}

class JobProcess {
  public:
    explicit JobProcess(const char* name)
        : m_pid(create_process(OS_PRI_PROC, name, jobProcessMain, 16384, 20, 0, 0, nullptr, 0, 0)) {
        start(m_pid);
    }
    PROCESS pid() const { return m_pid; }
    void run(std::function<void()> work) { runOn(m_pid, std::move(work)); }
    /// Ends the process by returning from its entry; waits until it has ended.
    void stop() {
        union SIGNAL* stopSignal = alloc(4, kStopJobs);
        send(&stopSignal, m_pid);
        EXPECT_TRUE(ose_wait_ended(m_pid, 5000));
    }

  private:
    PROCESS m_pid;
};

}  // namespace testsupport

#endif  // TEST_SUPPORT_JOB_PROCESS_H
