// The kernel's contract across a link, with the other kernel in a program of its own.
#include "LinkFixture.h"

#include <condition_variable>
#include <cstring>

using namespace linktest;

union SIGNAL {
    SIGSELECT sigNo;
    NameSig named;
};

namespace {

constexpr SIGSELECT kHuntControl = 1;
constexpr SIGSELECT kHuntEcho = 2;

const SIGSELECT kAny[] = {0};

union SIGNAL* named(SIGSELECT no, const char* name) {
    union SIGNAL* s = alloc(sizeof(NameSig), no);
    std::memset(s->named.name, 0, sizeof s->named.name);
    std::strncpy(s->named.name, name, sizeof s->named.name - 1);
    return s;
}

// The n-th data signal: its size from a table that ends with the largest, then bytes
// that tell where they are.
OSBUFSIZE dataSize(uint32_t n) {
    static const OSBUFSIZE sizes[] = {4, 9, 100, 4000, 65535};
    return sizes[n % 5];
}

uint8_t dataByte(uint32_t n, uint32_t offset) {
    return static_cast<uint8_t>(n * 31 + offset);
}

union SIGNAL* receiveOne(SIGSELECT no) {
    const SIGSELECT sel[] = {1, no};
    return receive_w_tmo(kArrival, sel);
}

// A process of this kernel that never sends over the link itself: the names of the
// senders of what it gets.
struct Arrivals {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> senders;

    bool waitFor(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, std::chrono::milliseconds(kArrival),
                                [&] { return senders.size() >= count; });
    }
};
Arrivals g_arrivals;

OS_PROCESS(bystander) {
    for (;;) {
        union SIGNAL* s = receive(kAny);
        char name[128] = "";
        ose_process_name(sender(&s), name, sizeof name);
        free_buf(&s);
        {
            std::lock_guard<std::mutex> lock(g_arrivals.mutex);
            g_arrivals.senders.push_back(name);
        }
        g_arrivals.changed.notify_all();
    }
}

struct Transport {
    const char* name;
    bool tcp;
};

class LinkContract : public LinkTest, public ::testing::WithParamInterface<Transport> {};

// Hunt before the link and before the process exist, then after; send and answer with
// the senders translated both ways; order and contents of every size; attach told on
// the remote process's death and on the loss of the link.
TEST_P(LinkContract, huntSendAnswerAttachAcrossALink) {
    hostlink::ListenConfig listen = unixListener();
    if (GetParam().tcp) {
        listen.unixPath.clear();
    }
    ASSERT_EQ(endpoint->listen(listen), "");
    runWithTimeLimit(std::chrono::seconds(50), [&] {
        ose_adopt_thread("tester");
        union SIGNAL* hs = alloc(sizeof(SIGSELECT), kHuntControl);
        PROCESS pid = 0;
        EXPECT_FALSE(hunt("dc1/control", 0, &pid, &hs));

        PeerProcess peer;
        std::vector<std::string> args{"--name",      "node", "--as", "dc1",
                                      "--heartbeat", "100",  "1500"};
        if (GetParam().tcp) {
            args.insert(args.end(), {"--tcp", std::to_string(endpoint->port())});
        } else {
            args.insert(args.end(), {"--unix", socketPath});
        }
        ASSERT_TRUE(peer.start(LINK_TEST_PEER, args));

        union SIGNAL* s = receiveOne(kHuntControl);
        ASSERT_NE(s, nullptr) << "the hunt made before the link was never answered";
        const PROCESS control = sender(&s);
        free_buf(&s);
        EXPECT_EQ(nameOf(control), "dc1/control");

        hs = alloc(sizeof(SIGSELECT), kHuntEcho);
        EXPECT_FALSE(hunt("dc1/echo", 0, &pid, &hs));
        s = named(kCreate, "echo");
        send(&s, control);
        s = receiveOne(kHuntEcho);
        ASSERT_NE(s, nullptr) << "the hunt made before the process existed was never answered";
        const PROCESS echo = sender(&s);
        free_buf(&s);
        EXPECT_TRUE(hunt("dc1/echo", 0, &pid, nullptr));
        EXPECT_EQ(pid, echo);

        s = alloc(sizeof(NameSig), kWho);
        send(&s, echo);
        s = receiveOne(kWhoReply);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(sender(&s), echo);
        EXPECT_STREQ(s->named.name, "node/tester") << "the sender is not the tester's stand-in";
        free_buf(&s);

        constexpr uint32_t kCount = 200;
        for (uint32_t n = 0; n < kCount; ++n) {
            s = alloc(dataSize(n), kData);
            auto* bytes = reinterpret_cast<uint8_t*>(s);
            for (uint32_t i = sizeof(SIGSELECT); i < dataSize(n); ++i) {
                bytes[i] = dataByte(n, i);
            }
            send(&s, echo);
        }
        for (uint32_t n = 0; n < kCount; ++n) {
            s = receive_w_tmo(kArrival, kAny);
            ASSERT_NE(s, nullptr) << "signal " << n << " did not come back";
            EXPECT_EQ(s->sigNo, kData);
            EXPECT_EQ(sender(&s), echo);
            ASSERT_EQ(sigsize(&s), dataSize(n)) << "out of order or cut at " << n;
            const auto* bytes = reinterpret_cast<const uint8_t*>(s);
            uint32_t wrong = 0;
            for (uint32_t i = sizeof(SIGSELECT); i < dataSize(n); ++i) {
                wrong += bytes[i] != dataByte(n, i) ? 1 : 0;
            }
            EXPECT_EQ(wrong, 0u) << "signal " << n;
            free_buf(&s);
        }

        // Answers to a process that never sent over the link itself (the tester sends in
        // its name): the tester, which watches the link while it waits, hands on the
        // first; the second comes while the tester is busy outside the kernel, after a
        // long watch, so the link's own thread has to read it.
        {
            std::lock_guard<std::mutex> lock(g_arrivals.mutex);
            g_arrivals.senders.clear();
        }
        const PROCESS other =
            create_process(OS_PRI_PROC, "bystander", &bystander, 0, 16, 0, 0, nullptr, 0, 0);
        start(other);
        s = alloc(sizeof(SIGSELECT), kData);
        send_w_s(&s, other, echo);
        static const SIGSELECT kNothing[] = {1, kCreate};
        EXPECT_EQ(receive_w_tmo(100, kNothing), nullptr);
        ASSERT_TRUE(g_arrivals.waitFor(1)) << "the answer to another process was not handed on";
        s = alloc(sizeof(SIGSELECT), kData);
        send_w_s(&s, other, echo);
        ASSERT_TRUE(g_arrivals.waitFor(2)) << "nothing read the link while its watcher was busy";
        EXPECT_EQ(g_arrivals.senders, (std::vector<std::string>{"dc1/echo", "dc1/echo"}));
        kill_proc(other);

        attach(nullptr, echo);
        s = named(kKill, "echo");
        send(&s, control);
        s = receiveOne(OS_ATTACH_SIG);
        ASSERT_NE(s, nullptr) << "the remote process's death was not told";
        EXPECT_EQ(sender(&s), echo);
        free_buf(&s);
        EXPECT_FALSE(hunt("dc1/echo", 0, &pid, nullptr)) << "a dead remote process is found";

        attach(nullptr, control);
        peer.kill();
        s = receiveOne(OS_ATTACH_SIG);
        ASSERT_NE(s, nullptr) << "the loss of the link was not told";
        EXPECT_EQ(sender(&s), control);
        free_buf(&s);
        EXPECT_TRUE(logged("link dc1 lost"));
        ose_leave_thread();
    });
}

INSTANTIATE_TEST_SUITE_P(Transports, LinkContract,
                         ::testing::Values(Transport{"unix", false}, Transport{"tcp", true}),
                         [](const ::testing::TestParamInfo<Transport>& param) {
                             return std::string(param.param.name);
                         });

// A peer that stops answering while its socket stays open is lost by the heartbeat.
TEST_F(LinkTest, heartbeatLosesAStoppedPeer) {
    ASSERT_EQ(endpoint->listen(unixListener()), "");
    runWithTimeLimit(std::chrono::seconds(50), [&] {
        ose_adopt_thread("tester");
        PeerProcess peer;
        ASSERT_TRUE(peer.start(LINK_TEST_PEER, {"--unix", socketPath, "--name", "node", "--as",
                                                "dc1", "--heartbeat", "100", "1500"}));
        union SIGNAL* s = alloc(sizeof(SIGSELECT), kHuntControl);
        PROCESS control = 0;
        hunt("dc1/control", 0, &control, &s);
        s = receiveOne(kHuntControl);
        ASSERT_NE(s, nullptr);
        control = sender(&s);
        free_buf(&s);
        attach(nullptr, control);

        peer.suspend();
        const auto stopped = std::chrono::steady_clock::now();
        s = receiveOne(OS_ATTACH_SIG);
        const auto waited = std::chrono::steady_clock::now() - stopped;
        ASSERT_NE(s, nullptr) << "a stopped peer was never lost";
        free_buf(&s);
        EXPECT_GE(waited, kSilence - kPing);
        EXPECT_LT(waited, kSilence + std::chrono::seconds(2));
        EXPECT_TRUE(logged("no sign of life"));
        ose_leave_thread();
    });
}

}  // namespace
