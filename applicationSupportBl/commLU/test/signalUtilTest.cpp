#include "signalUtil.h"

#include "TraceCapture.h"
#include "dynTrace.h"
#include "ose.h"
#include "oseHost.h"
#include "traceHost.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

using namespace applsupp;

namespace {

constexpr char kObject[] = "commSignalTest";

std::vector<std::string> kernelErrors;

void recordKernelError(const char* call, uint32_t /*code*/, const char* /*detail*/) {
    kernelErrors.push_back(call);
}

SIGSELECT numberOf(union SIGNAL* sig) {
    SIGSELECT number;
    std::memcpy(&number, sig, sizeof number);
    return number;
}

// Each test is a kernel process of a fresh kernel, with every level of its trace
// object on and the output captured.
class SignalUtilTest : public ::testing::Test {
  protected:
    void SetUp() override {
        kernelErrors.clear();
        traceSetMask(kObject, 0xFFFFFFFFu);
        m_capture = std::make_unique<TraceCapture>();
        m_self = ose_adopt_thread("signalUtilTest");
        m_trace = std::make_unique<TraceHandle>(kObject);
    }

    void TearDown() override {
        ose_set_error_handler(nullptr);
        m_trace.reset();
        ose_leave_thread();
        ose_shutdown();
        m_capture.reset();
    }

    const TraceObject* trace() const { return m_trace->get(); }
    bool traced(const std::string& wanted) const {
        const std::vector<std::string> all = m_capture->texts(kObject);
        return std::find(all.begin(), all.end(), wanted) != all.end();
    }

    std::unique_ptr<TraceCapture> m_capture;
    std::unique_ptr<TraceHandle> m_trace;
    PROCESS m_self = 0;
};

}  // namespace

TEST_F(SignalUtilTest, sentSignalsArriveAndBothWaysAreTraced) {
    union SIGNAL* sig = alloc(12, 0x1234);
    EXPECT_TRUE(signalUtil::send(trace(), &sig, m_self, "MY_SIGNAL"));
    EXPECT_EQ(sig, NIL);
    EXPECT_TRUE(traced(traceFormat("Sending signal MY_SIGNAL to process 0x%08x", m_self)));
    union SIGNAL* got = signalUtil::receive(trace());
    ASSERT_NE(got, NIL);
    EXPECT_EQ(numberOf(got), 0x1234u);
    EXPECT_TRUE(
        m_capture->contains(traceFormat("Received signal 0x00001234 from process 0x%08x", m_self)));
    free_buf(&got);

    // Without a name the number is shown; a given sender is named and delivered.
    const PROCESS phantom =
        create_process(OS_PHANTOM, "utilPhantom", nullptr, 0, 0, 0, 0, nullptr, 0, 0);
    sig = alloc(8, 0xABC);
    EXPECT_TRUE(signalUtil::sendWithSender(trace(), &sig, phantom, m_self));
    EXPECT_TRUE(traced(traceFormat(
        "Sending signal 0xabc to process 0x%08x using pid 0x%08x as sender.", m_self, phantom)));
    got = signalUtil::receiveWithTimeout(trace(), 1000);
    ASSERT_NE(got, NIL);
    EXPECT_EQ(sender(&got), phantom);
    EXPECT_TRUE(m_capture->contains(
        traceFormat("Received signal 0x00000abc from process 0x%08x", phantom)));
    free_buf(&got);

    // With the level off nothing is traced.
    traceSetMask(kObject, 0);
    m_capture->clear();
    sig = alloc(8, 0x5);
    EXPECT_TRUE(signalUtil::send(trace(), &sig, m_self, "FIVE"));
    got = signalUtil::receive(trace());
    free_buf(&got);
    EXPECT_TRUE(m_capture->texts(kObject).empty());
}

TEST_F(SignalUtilTest, receiveHonoursSelectionAndTimeout) {
    union SIGNAL* other = alloc(8, 0x1);
    union SIGNAL* wanted = alloc(8, 0x2);
    signalUtil::send(trace(), &other, m_self);
    signalUtil::send(trace(), &wanted, m_self);
    const SIGSELECT onlyTwo[] = {1, 0x2};
    union SIGNAL* got = signalUtil::receive(trace(), onlyTwo);
    ASSERT_NE(got, NIL);
    EXPECT_EQ(numberOf(got), 0x2u);
    free_buf(&got);
    got = signalUtil::receiveWithTimeout(trace(), 0);
    ASSERT_NE(got, NIL);
    EXPECT_EQ(numberOf(got), 0x1u);
    free_buf(&got);

    m_capture->clear();
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(signalUtil::receiveWithTimeout(trace(), 20), NIL);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(15));
    EXPECT_TRUE(m_capture->texts(kObject).empty());  // nothing came, nothing traced
}

TEST_F(SignalUtilTest, refusedSendsLeaveTheSignalWithTheCaller) {
    union SIGNAL* none = NIL;
    EXPECT_FALSE(signalUtil::send(trace(), nullptr, m_self));
    EXPECT_FALSE(signalUtil::sendWithSender(trace(), &none, m_self, m_self, "X"));
    EXPECT_TRUE(traced("SignalPointer is a NULL pointer."));

    union SIGNAL* sig = alloc(8, 0x77);
    const uint32_t low = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(sig));
    EXPECT_FALSE(signalUtil::send(trace(), &sig, 0));
    EXPECT_TRUE(traced(traceFormat(
        "Failed to send signal! Signal number = 0x77; destination PID = 0, sig_p=0x%x", low)));
    EXPECT_FALSE(signalUtil::sendWithSender(trace(), &sig, m_self, 0, "SEVENTY_SEVEN"));
    EXPECT_TRUE(
        traced(traceFormat("Failed to send signal! Signal name = \"SEVENTY_SEVEN\", destination "
                           "PID = 0, sig_p=0x%x",
                           low)));
    ASSERT_NE(sig, NIL);

    // A destination the kernel does not know: the kernel reports "send@ose.h", the
    // caller keeps the signal and its trace names the failed call.
    ose_set_error_handler(&recordKernelError);
    EXPECT_FALSE(signalUtil::send(trace(), &sig, 0x7FFF0001u));
    EXPECT_EQ(kernelErrors, std::vector<std::string>{"send@ose.h"});
    ASSERT_NE(sig, NIL);
    EXPECT_TRUE(m_capture->contains("send@ose.h failed at "));
    ose_set_error_handler(nullptr);
    free_buf(&sig);
    EXPECT_EQ(signalUtil::receiveWithTimeout(trace(), 0), NIL);  // nothing was delivered
}
