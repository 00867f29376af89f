// "ulsa_trace_ctl": masks changed by signals from another kernel process.
#include "TimeLimit.h"
#include "TraceCapture.h"
#include "oseHost.h"
#include "traceAndError.h"
#include "traceHost.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

const SIGSELECT kSetMaskCfm[] = {1, TRACE_SET_MASK_CFM};
const SIGSELECT kListCfm[] = {1, TRACE_LIST_CFM};

TraceObject* registerName(const char* name) {
    TraceRef ref{nullptr};
    TraceCall call{};
    call.ref = &ref;
    call.name = name;
    EXPECT_EQ(traceAndErrorInit(TRACE_OP_REGISTER, &call), 0);
    return ref.load();
}

// Sends a set-mask request of the given size (the pattern cut to fit) and returns the
// answer's result; -2 when no answer came.
int32_t setMaskBySignal(PROCESS control, const char* pattern, uint32_t mask, OSBUFSIZE size) {
    union SIGNAL* sig = alloc(size, TRACE_SET_MASK_REQ);
    auto* req = reinterpret_cast<TraceSetMaskReq*>(sig);
    if (size >= offsetof(TraceSetMaskReq, pattern)) {
        req->mask = mask;
        const std::size_t room = size - offsetof(TraceSetMaskReq, pattern);
        std::memcpy(req->pattern, pattern, std::min(room, std::strlen(pattern) + 1));
    }
    send(&sig, control);
    union SIGNAL* cfm = receive_w_tmo(5000, kSetMaskCfm);
    if (cfm == nullptr) {
        return -2;
    }
    EXPECT_EQ(sender(&cfm), control);
    const int32_t result = reinterpret_cast<TraceSetMaskCfm*>(cfm)->result;
    free_buf(&cfm);
    return result;
}

TEST(TraceControl, MasksChangeBySignalAndMalformedRequestsAreAnsweredWithMinusOne) {
    traceConfigure("");
    TraceObject* alpha = registerName("ctlAlpha");
    TraceObject* beta = registerName("ctlBeta");
    TraceCapture capture;

    runWithTimeLimit(std::chrono::seconds(30), [alpha, beta, &capture] {
        ose_adopt_thread("trace_client");
        const PROCESS control = traceStartControlProcess();
        ASSERT_NE(control, 0u);
        EXPECT_EQ(traceStartControlProcess(), control);
        PROCESS found = 0;
        ASSERT_TRUE(hunt("ulsa_trace_ctl", 0, &found, nullptr));
        EXPECT_EQ(found, control);

        const OSBUFSIZE full = sizeof(TraceSetMaskReq);
        EXPECT_EQ(setMaskBySignal(control, "ctl*", 0x0F0, full), 2);
        EXPECT_EQ(alpha->mask.load(), 0x0F0u);
        EXPECT_EQ(beta->mask.load(), 0x0F0u);
        // A short signal is fine as long as the pattern's NUL is inside it.
        EXPECT_EQ(setMaskBySignal(control, "ctlBeta", 0x3, offsetof(TraceSetMaskReq, pattern) + 8),
                  1);
        EXPECT_EQ(beta->mask.load(), 0x3u);
        EXPECT_EQ(alpha->mask.load(), 0x0F0u);

        // Malformed: no room for a pattern, no NUL inside the signal, a bad pattern.
        EXPECT_EQ(setMaskBySignal(control, "", 1, 4), -1);
        EXPECT_EQ(setMaskBySignal(control, "", 1, offsetof(TraceSetMaskReq, pattern)), -1);
        EXPECT_EQ(setMaskBySignal(control, "ctlBeta", 1, offsetof(TraceSetMaskReq, pattern) + 7),
                  -1);
        const std::string tooLong(kTracePatternSize + 10, 'p');
        EXPECT_EQ(setMaskBySignal(control, tooLong.c_str(), 1, full + 20), -1);
        EXPECT_EQ(setMaskBySignal(control, "ctl*Beta", 1, full), -1);
        EXPECT_EQ(setMaskBySignal(control, "", 1, full), -1);
        EXPECT_EQ(beta->mask.load(), 0x3u);

        // An unknown signal is freed with a warning; the process serves on.
        union SIGNAL* stray = alloc(16, 0x12345);
        send(&stray, control);
        union SIGNAL* list = alloc(sizeof(TraceListReq), TRACE_LIST_REQ);
        send(&list, control);
        union SIGNAL* cfm = receive_w_tmo(5000, kListCfm);
        ASSERT_NE(cfm, nullptr);
        const auto* listCfm = reinterpret_cast<const TraceListCfm*>(cfm);
        const std::string text(listCfm->text);
        EXPECT_NE(text.find("ctlAlpha 0x000000f0\n"), std::string::npos) << text;
        EXPECT_NE(text.find("ctlBeta 0x00000003\n"), std::string::npos) << text;
        EXPECT_EQ(listCfm->count, traceGetObjects().size());
        free_buf(&cfm);
        EXPECT_TRUE(capture.contains("ulsa_trace_ctl: unknown signal 0x12345"));
        EXPECT_EQ(capture.texts("traceService").size(), 7u);  // six refusals and the stray

        ose_leave_thread();
    });
    ose_shutdown();
    traceConfigure("");
}

TEST(TraceControl, ProcessNameOfTheWriterIsInTheLine) {
    TraceObject* object = registerName("ctlWriter");
    TraceCapture capture;
    runWithTimeLimit(std::chrono::seconds(30), [object] {
        ose_adopt_thread("trace_writer_proc");
        TraceRef ref{object};
        TraceCall call{};
        call.ref = &ref;
        call.level = 1;
        call.file = "w.cpp";
        call.line = 5;
        call.text = "from a kernel process";
        traceAndErrorInit(TRACE_OP_WRITE, &call);
        ose_leave_thread();
    });
    ose_shutdown();
    const std::vector<TraceLine> lines = capture.parsed();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].process, "trace_writer_proc");
    EXPECT_EQ(lines[0].text, "from a kernel process");
}

}  // namespace
