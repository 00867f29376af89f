// Peers that break the protocol lose their link, and the process goes on.
#include "LinkFixture.h"
#include "RawPeer.h"

#include <cstring>

using namespace linktest;
using hostlink::wire::FrameHeader;
using hostlink::wire::FrameType;

union SIGNAL {
    SIGSELECT sigNo;
};

namespace {

constexpr SIGSELECT kHuntX = 1;

std::vector<uint8_t> bytesOf(const void* data, std::size_t size) {
    const auto* p = static_cast<const uint8_t*>(data);
    return std::vector<uint8_t>(p, p + size);
}

std::vector<uint8_t> header(uint32_t type, uint32_t length) {
    const FrameHeader h{type, length};
    return bytesOf(&h, sizeof h);
}

struct BadFrame {
    const char* what;
    std::vector<uint8_t> bytes;  // written once the link is up and a phantom exists
    const char* logged;
};

TEST_F(LinkTest, aPeerThatBreaksTheProtocolLosesItsLinkAndTheProcessGoesOn) {
    ASSERT_EQ(endpoint->listen(unixListener()), "");
    std::vector<uint8_t> halfFrame = header(static_cast<uint32_t>(FrameType::Signal), 100);
    halfFrame.resize(halfFrame.size() + 10, 0xAB);
    std::vector<uint8_t> fromNobody = header(static_cast<uint32_t>(FrameType::Signal), 12);
    const uint32_t signal[] = {0x999, 0x10000, 77};  // from, to, number
    const std::vector<uint8_t> signalBytes = bytesOf(signal, sizeof signal);
    fromNobody.insert(fromNobody.end(), signalBytes.begin(), signalBytes.end());
    std::vector<uint8_t> nulName = header(static_cast<uint32_t>(FrameType::HuntRequest), 2);
    nulName.push_back(0);
    nulName.push_back('x');
    const std::vector<BadFrame> cases = {
        {"garbage", {0xDE, 0xAD, 0xBE, 0xEF, 0x01, 0x02, 0x03, 0x04}, "unknown type"},
        {"an oversized frame",
         header(static_cast<uint32_t>(FrameType::Signal), hostlink::wire::kMaxPayload + 1),
         "longer than any signal"},
        {"a close in the middle of a frame", halfFrame, "in the middle of a frame"},
        {"a signal from a process never announced", fromNobody, "never announced"},
        {"a hunt for a name that a NUL cuts short", nulName, "malformed name"},
    };
    runWithTimeLimit(std::chrono::seconds(50), [&] {
        ose_adopt_thread("tester");
        for (const BadFrame& c : cases) {
            SCOPED_TRACE(c.what);
            RawPeer peer;
            ASSERT_TRUE(peer.connect(socketPath));
            ASSERT_TRUE(peer.hello("bad"));
            ASSERT_TRUE(peer.answered());
            union SIGNAL* s = alloc(sizeof(SIGSELECT), kHuntX);
            PROCESS pid = 0;
            hunt("bad/x", 0, &pid, &s);
            std::vector<uint8_t> asked;
            ASSERT_TRUE(peer.readFrame(FrameType::HuntRequest, asked));
            EXPECT_EQ(std::string(asked.begin(), asked.end()), "x");
            std::vector<uint8_t> found = {0x34, 0x12, 0, 0, 'x'};
            ASSERT_TRUE(peer.writeFrame(FrameType::HuntFound, found));
            const SIGSELECT huntSel[] = {1, kHuntX};
            s = receive_w_tmo(kArrival, huntSel);
            ASSERT_NE(s, nullptr);
            const PROCESS phantom = sender(&s);
            free_buf(&s);
            attach(nullptr, phantom);

            ASSERT_TRUE(peer.write(c.bytes));
            peer.close();
            const SIGSELECT attachSel[] = {1, OS_ATTACH_SIG};
            s = receive_w_tmo(kArrival, attachSel);
            ASSERT_NE(s, nullptr) << "the phantom outlived its link";
            EXPECT_EQ(sender(&s), phantom);
            free_buf(&s);
            EXPECT_TRUE(logged(c.logged));
        }
        ose_leave_thread();
    });

    // Hellos that are refused at setup.
    RawPeer swapped;
    ASSERT_TRUE(swapped.connect(socketPath));
    ASSERT_TRUE(swapped.hello("bad", hostlink::wire::kByteOrderSwapped));
    EXPECT_TRUE(swapped.closedByPeer());
    EXPECT_TRUE(logged("links between machines of different byte order are not supported"));

    RawPeer noise;
    ASSERT_TRUE(noise.connect(socketPath));
    ASSERT_TRUE(noise.write(std::vector<uint8_t>(64, 0x5A)));
    EXPECT_TRUE(noise.closedByPeer());
    EXPECT_TRUE(logged("no link end point"));

    // The listener still takes a good peer, under the name the bad ones had.
    RawPeer good;
    ASSERT_TRUE(good.connect(socketPath));
    ASSERT_TRUE(good.hello("bad"));
    EXPECT_TRUE(good.answered());
}

// A link lost at once as it comes up (a garbage frame right behind the hello) kills its
// process while that may just be starting: the process must end quietly, with no kernel
// error. The moment is a matter of the threads' timing, so many links come and go.
TEST_F(LinkTest, linksLostAsTheyComeUpLeaveNoKernelErrorAndTheListenerGoesOn) {
    ASSERT_EQ(endpoint->listen(unixListener()), "");
    const std::vector<uint8_t> garbage = {0xDE, 0xAD, 0xBE, 0xEF, 0x01, 0x02, 0x03, 0x04};
    for (int i = 0; i < 300; ++i) {
        RawPeer peer;
        ASSERT_TRUE(peer.connect(socketPath));
        ASSERT_TRUE(peer.hello("gone" + std::to_string(i)));
        ASSERT_TRUE(peer.write(garbage));
        ASSERT_TRUE(peer.closedByPeer());
    }
    EXPECT_TRUE(logged("link gone299 lost: the peer sent a frame of unknown type"));
    RawPeer good;
    ASSERT_TRUE(good.connect(socketPath));
    ASSERT_TRUE(good.hello("good"));
    EXPECT_TRUE(good.answered());
}

}  // namespace
