// Osa_findServer and the support loop of "Osa_IfSupport_proc" and "Vq_IfSupport_proc":
// server blocks, supervision of the servers, bad requests.
#include "PlatformNode.h"
#include "TraceCapture.h"
#include "osa_findserver.h"

#include <cstring>

using namespace platformtest;
using hostdbtest::runAsKernelProcess;

namespace {

OS_PROCESS(idleServer) {
    static const SIGSELECT none[] = {1, 0x7FFFFFFF};
    receive(none);
}

PROCESS startIdle(const char* name) {
    const PROCESS pid =
        create_process(OS_PRI_PROC, name, idleServer, 2000, 20, 0, 0, nullptr, 0, 0);
    start(pid);
    return pid;
}

class ProxyProcesses : public PlatformNode {};

TEST_F(ProxyProcesses, find_server_supervises_the_server_and_finds_its_successor) {
    ASSERT_NE(hostns::startNameServer(), 0u);
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        OsaServerBlock* block = nullptr;
        PROCESS pid = 0;
        EXPECT_EQ(Osa_findServer("TarvoTransaction", &block, &pid), OSA_SERVER_NOT_FOUND);
        EXPECT_EQ(block, nullptr);

        const PROCESS first = startIdle("TarvoTransaction");
        ASSERT_EQ(Osa_findServer("TarvoTransaction", &block, &pid), OSA_OK);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(pid, first);
        EXPECT_EQ(block->pid.load(), first);
        EXPECT_EQ(block->status.load(), 1);
        EXPECT_STREQ(block->name, "TarvoTransaction");

        // Another name has a block of its own; the same name keeps its block.
        const PROCESS other = startIdle("OtherServer");
        OsaServerBlock* otherBlock = nullptr;
        ASSERT_EQ(Osa_findServer("OtherServer", &otherBlock, &pid), OSA_OK);
        EXPECT_NE(otherBlock, block);
        EXPECT_EQ(pid, other);

        kill_proc(first);
        EXPECT_TRUE(eventually([&] { return block->status.load() == 0; }));
        EXPECT_EQ(otherBlock->status.load(), 1);
        EXPECT_EQ(Osa_findServer("TarvoTransaction", &block, &pid), OSA_SERVER_NOT_FOUND);

        const PROCESS second = startIdle("TarvoTransaction");
        OsaServerBlock* again = nullptr;
        ASSERT_EQ(Osa_findServer("TarvoTransaction", &again, &pid), OSA_OK);
        EXPECT_EQ(again, block);
        EXPECT_EQ(pid, second);
        EXPECT_EQ(block->status.load(), 1);
        // The new server is supervised as the first was.
        kill_proc(second);
        EXPECT_TRUE(eventually([&] { return block->status.load() == 0; }));

        // Names that cannot be asked for.
        EXPECT_EQ(Osa_findServer("", &again, &pid), OSA_SERVER_NOT_FOUND);
        EXPECT_EQ(Osa_findServer(std::string(80, 'n').c_str(), &again, &pid), OSA_SERVER_NOT_FOUND);
        EXPECT_EQ(Osa_findServer(nullptr, &again, &pid), OSA_SERVER_NOT_FOUND);
    });
}

// Raw requests to a support process: a good one answers with the block, bad ones are
// traced and dropped, and the process goes on. Both support processes run the loop.
TEST_F(ProxyProcesses, support_loops_answer_good_requests_and_drop_bad_ones) {
    TraceCapture capture;
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        for (const char* name : {"Vq_IfSupport_proc", "Osa_IfSupport_proc"}) {
            OSENTRYPOINT* entry = std::strcmp(name, "Vq_IfSupport_proc") == 0 ? Vq_IfSupport_proc
                                                                              : Osa_IfSupport_proc;
            const PROCESS support =
                create_process(OS_PRI_PROC, name, entry, 2000, 10, 0, 0, nullptr, 0, 0);
            start(support);
            const PROCESS server = startIdle("someServer");

            union SIGNAL* bad = alloc(12, OSA_IF_SUPPORT_REQ);  // no room for a name
            send(&bad, support);
            bad = alloc(20, OSA_IF_SUPPORT_REQ);  // a name without its NUL
            std::memset(reinterpret_cast<char*>(bad) + 4, 'z', 16);
            send(&bad, support);
            bad = alloc(8, 0x4711);
            send(&bad, support);
            bad = alloc(4, OSA_IF_SUPPORT_SERVER_DOWN);  // from a process that serves nothing
            send(&bad, support);

            const char serverName[] = "someServer";
            union SIGNAL* request = alloc(sizeof serverName + 16, OSA_IF_SUPPORT_REQ);
            std::memcpy(reinterpret_cast<char*>(request) + 8, &server, sizeof server);
            std::memcpy(reinterpret_cast<char*>(request) + 14, serverName, sizeof serverName);
            send(&request, support);
            static const SIGSELECT selectAnswer[] = {1, OSA_IF_SUPPORT_REQ};
            union SIGNAL* answer = receive_w_tmo(5000, selectAnswer);
            ASSERT_NE(answer, nullptr);
            // The answer is the only signal that came back.
            static const SIGSELECT anySignal[] = {0};
            EXPECT_EQ(receive_w_tmo(50, anySignal), nullptr);
            uintptr_t address = 0;
            std::memcpy(&address, reinterpret_cast<char*>(answer) + 4, sizeof address);
            uint16_t status = 7;
            std::memcpy(&status, reinterpret_cast<char*>(answer) + 12, sizeof status);
            free_buf(&answer);
            EXPECT_EQ(status, 0);
            auto* block = reinterpret_cast<OsaServerBlock*>(address);
            ASSERT_NE(block, nullptr);
            EXPECT_EQ(block->pid.load(), server);
            EXPECT_EQ(block->status.load(), 1);
            kill_proc(server);
            EXPECT_TRUE(eventually([&] { return block->status.load() == 0; }));

            char text[128];
            std::snprintf(text, sizeof text, "%s: malformed signal 0x100c3 of 12 bytes", name);
            EXPECT_TRUE(capture.contains(text)) << text;
            std::snprintf(text, sizeof text, "%s: malformed signal 0x100c3 of 20 bytes", name);
            EXPECT_TRUE(capture.contains(text)) << text;
            std::snprintf(text, sizeof text, "%s: unknown signal 0x4711", name);
            EXPECT_TRUE(capture.contains(text)) << text;
            std::snprintf(text, sizeof text, "%s: end of 0x%x, which is no server in use", name,
                          current_process());
            EXPECT_TRUE(capture.contains(text)) << text;
            kill_proc(support);
        }
    });
}

}  // namespace
