// The placeholder loops of the two support processes: every signal is traced and
// freed, and the process stays.
#include "TraceCapture.h"
#include "oseHost.h"
#include "proxyProcesses.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

class ProxyProcessesTest : public ::testing::TestWithParam<const char*> {
  protected:
    ProxyProcessesTest() { m_self = ose_adopt_thread("proxyTest"); }
    ~ProxyProcessesTest() override {
        ose_leave_thread();
        ose_shutdown();
    }
    PROCESS m_self;
};

TEST_P(ProxyProcessesTest, everySignalIsTracedAndFreedAndTheProcessGoesOn) {
    TraceCapture capture;
    const char* name = GetParam();
    OSENTRYPOINT* entry =
        std::string(name) == "Vq_IfSupport_proc" ? Vq_IfSupport_proc : VqDb_name_proc;
    const PROCESS pid = create_process(OS_PRI_PROC, name, entry, 2000, 10, 0, 0, nullptr, 0, 0);
    start(pid);
    for (SIGSELECT number : {0x100C3u, 0x100C4u, 0x7B7Bu}) {
        union SIGNAL* signal = alloc(16, number);
        send(&signal, pid);
    }
    char text[96];
    std::snprintf(text, sizeof text, "%s: signal 0x7b7b from 0x%x not served in this build", name,
                  m_self);
    for (int i = 0; i < 200 && !capture.contains(text); ++i) {
        delay(10);
    }
    EXPECT_TRUE(capture.contains(text));
    std::snprintf(text, sizeof text, "%s: signal 0x100c3 from 0x%x not served in this build", name,
                  m_self);
    EXPECT_TRUE(capture.contains(text));

    struct OS_pcb* pcb = get_pcb(pid);
    ASSERT_NE(pcb, nullptr);
    EXPECT_EQ(pcb->sigqueue, 0u);
    EXPECT_NE(pcb->status, OS_STATE_ENDED);
    EXPECT_NE(pcb->status, OS_STATE_KILLED);
    free_buf(reinterpret_cast<union SIGNAL**>(&pcb));
}

INSTANTIATE_TEST_SUITE_P(BothProcesses, ProxyProcessesTest,
                         ::testing::Values("Vq_IfSupport_proc", "VqDb_name_proc"));

}  // namespace
