// The registry: shared names and user counts, prefixes, take-over from ended
// owners, and registrations from several processes at once.
#include "DynTraceHandler.h"
#include "TimeLimit.h"
#include "TraceCapture.h"
#include "dynTrace.h"
#include "oseHost.h"
#include "traceHost.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr SIGSELECT kGo = 0x7E900;
constexpr SIGSELECT kDone = 0x7E901;
const SIGSELECT kSelectGo[] = {1, kGo};
const SIGSELECT kSelectDone[] = {1, kDone};

bool registered(const std::string& name) {
    const std::vector<std::string> names = DynTraceHandler::getRegisteredTraceObjectNames();
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::string hex(PROCESS pid) {
    char text[16];
    std::snprintf(text, sizeof text, "%x", pid);
    return text;
}

PROCESS startProcess(const char* name, OSENTRYPOINT* entry) {
    const PROCESS pid = create_process(OS_PRI_PROC, name, entry, 65536, 20, 0, 0, nullptr, 0, 0);
    start(pid);
    return pid;
}

void sendEmpty(SIGSELECT sigNo, PROCESS to) {
    union SIGNAL* sig = alloc(sizeof(SIGSELECT), sigNo);
    send(&sig, to);
}

bool awaitSignal(const SIGSELECT* selection) {
    union SIGNAL* sig = receive_w_tmo(10000, selection);
    if (sig == nullptr) {
        return false;
    }
    free_buf(&sig);
    return true;
}

// Runs a test body as the kernel process "registry_test", under a time limit.
template <class Body>
void asKernelProcess(Body body) {
    DynTraceHandler::setTraceObjectPrefix("");
    DynTraceHandler::setTraceObjectSuffix("");
    traceConfigure("DynTraceLU=0+1+4+9");
    runWithTimeLimit(std::chrono::seconds(60), [&body] {
        ose_adopt_thread("registry_test");
        body();
        ose_leave_thread();
    });
    ose_shutdown();
    traceConfigure("");
}

TEST(DynTraceHandler, NameRegisteredTwiceSharesTheObjectUntilItsLastUserDeregisters) {
    asKernelProcess([] {
        const PROCESS self = current_process();
        TraceObject* first = DynTraceHandler::registerTraceObject("regShared");
        TraceObject* second = DynTraceHandler::registerTraceObject("regShared");
        ASSERT_NE(first, &traceDummyObject);
        EXPECT_EQ(first, second);
        EXPECT_STREQ(first->name, "regShared");
        DynTraceHandler::TraceEntry entry = DynTraceHandler::getTraceEntry("regShared");
        EXPECT_EQ(entry.userCount, 2u);
        EXPECT_EQ(entry.ownerProcess, self);
        EXPECT_EQ(entry.traceRef, first);
        EXPECT_EQ(entry.name, "regShared");
        char reference[32];
        std::snprintf(reference, sizeof reference, "%p", static_cast<void*>(first));
        EXPECT_NE(DynTraceHandler::toString().find(
                      "{ trace Object name = \"regShared\", user count = 2, "
                      "traceRef = " +
                      std::string(reference) + ", ownerProc = 0x" + hex(self)),
                  std::string::npos)
            << DynTraceHandler::toString();

        DynTraceHandler::deregisterTraceObject(first);
        EXPECT_EQ(DynTraceHandler::getTraceEntry("regShared").userCount, 1u);
        EXPECT_EQ(DynTraceHandler::getTraceObjectRef("regShared"), first);
        EXPECT_TRUE(registered("regShared"));

        DynTraceHandler::deregisterTraceObject(second);
        EXPECT_FALSE(registered("regShared"));
        EXPECT_EQ(DynTraceHandler::toString().find("regShared"), std::string::npos);
        bool listed = false;
        for (const TraceObjectInfo& info : traceGetObjects()) {
            listed = listed || info.name == "regShared";
        }
        EXPECT_FALSE(listed);

        TraceCapture capture;
        EXPECT_EQ(DynTraceHandler::getTraceObjectRef("regShared"), &traceDummyObject);
        // Once more than it was registered: refused with a trace, nothing changes.
        DynTraceHandler::deregisterTraceObject(first);
        DynTraceHandler::deregisterTraceObject(&traceDummyObject);
        DynTraceHandler::deregisterTraceObject(nullptr);
        const std::vector<std::string> texts = capture.texts("DynTraceLU");
        ASSERT_EQ(texts.size(), 2u);
        EXPECT_EQ(texts[0], "Trace object name \"regShared\" is not registered");
        EXPECT_NE(texts[1].find("is not registered"), std::string::npos);

        // A fresh registration counts from one again.
        EXPECT_EQ(DynTraceHandler::registerTraceObject("regShared"), first);
        EXPECT_EQ(DynTraceHandler::getTraceEntry("regShared").userCount, 1u);
        DynTraceHandler::deregisterTraceObject(first);
        // A name the service refuses gives the dummy and no entry.
        EXPECT_EQ(DynTraceHandler::registerTraceObject("bad name"), &traceDummyObject);
        EXPECT_FALSE(registered("bad name"));
    });
}

TEST(DynTraceHandler, PrefixAndSuffixApplyOnlyToObjectsRegisteredAfterwards) {
    asKernelProcess([] {
        TraceHandle before("GrpEarly");
        DynTraceHandler::setTraceObjectPrefix("ulsa");
        DynTraceHandler::setTraceObjectSuffix("_x");
        EXPECT_EQ(DynTraceHandler::traceObjectName("Timer"), "ulsaTimer_x");
        {
            TraceHandle after("GrpLate");
            EXPECT_STREQ(before.get()->name, "GrpEarly");
            EXPECT_STREQ(after.get()->name, "ulsaGrpLate_x");
            EXPECT_TRUE(registered("GrpEarly"));
            EXPECT_TRUE(registered("ulsaGrpLate_x"));
            EXPECT_FALSE(registered("ulsaGrpEarly_x"));
        }
        EXPECT_FALSE(registered("ulsaGrpLate_x"));  // the handle deregistered it
        DynTraceHandler::setTraceObjectPrefix("");
        DynTraceHandler::setTraceObjectSuffix("");
    });
    EXPECT_FALSE(registered("GrpEarly"));
}

PROCESS g_endedOwner = 0;

OS_PROCESS(endingOwner) {
    g_endedOwner = current_process();
    DynTraceHandler::registerTraceObject("regTakeover");
    DynTraceHandler::registerTraceObject("regTakeover");
}

OS_PROCESS(waitingOwner) {
    DynTraceHandler::registerTraceObject("regLive");
    receive(kSelectGo);
}

TEST(DynTraceHandler, ObjectOfAnEndedOwnerIsTakenOverAndALiveOwnerKeepsIt) {
    asKernelProcess([] {
        const PROCESS self = current_process();
        const PROCESS ended = startProcess("reg_owner", endingOwner);
        ASSERT_TRUE(ose_wait_ended(ended, 10000));
        ASSERT_EQ(g_endedOwner, ended);
        EXPECT_EQ(DynTraceHandler::getTraceEntry("regTakeover").userCount, 2u);
        TraceObject* old = DynTraceHandler::getTraceEntry("regTakeover").traceRef;

        TraceCapture capture;
        TraceObject* taken = DynTraceHandler::registerTraceObject("regTakeover");
        EXPECT_EQ(taken, old);  // the service keeps one object per name
        EXPECT_EQ(capture.texts("DynTraceLU"),
                  std::vector<std::string>{"Trace object \"regTakeover\" was owned by a terminated "
                                           "process (0x" +
                                           hex(ended) +
                                           ")! Register a new trace object in this process (0x" +
                                           hex(self) + ")."});
        DynTraceHandler::TraceEntry entry = DynTraceHandler::getTraceEntry("regTakeover");
        EXPECT_EQ(entry.userCount, 1u);
        EXPECT_EQ(entry.ownerProcess, self);
        DynTraceHandler::deregisterTraceObject(taken);
        EXPECT_FALSE(registered("regTakeover"));

        // A live owner keeps its object: the count just grows.
        const PROCESS live = startProcess("reg_live_owner", waitingOwner);
        for (int i = 0; i < 1000 && !registered("regLive"); ++i) {
            delay(5);
        }
        capture.clear();
        DynTraceHandler::registerTraceObject("regLive");
        entry = DynTraceHandler::getTraceEntry("regLive");
        EXPECT_EQ(entry.userCount, 2u);
        EXPECT_EQ(entry.ownerProcess, live);
        EXPECT_TRUE(capture.texts("DynTraceLU").empty());

        // Killed is terminated too.
        kill_proc(live);
        ASSERT_TRUE(ose_wait_ended(live, 10000));
        DynTraceHandler::registerTraceObject("regLive");
        entry = DynTraceHandler::getTraceEntry("regLive");
        EXPECT_EQ(entry.userCount, 1u);
        EXPECT_EQ(entry.ownerProcess, self);
        ASSERT_EQ(capture.texts("DynTraceLU").size(), 1u);
        EXPECT_NE(capture.texts("DynTraceLU")[0].find("(0x" + hex(live) + ")!"), std::string::npos);
        DynTraceHandler::deregisterTraceObject(entry.traceRef);
    });
}

PROCESS g_tester = 0;

OS_PROCESS(churningUser) {
    receive(kSelectGo);  // all four start together
    for (int i = 0; i < 20000; ++i) {
        TraceObject* ref = DynTraceHandler::registerTraceObject("regConcurrent");
        TRACE(ref, 1, "churn %d", i);
        DynTraceHandler::deregisterTraceObject(ref);
    }
    TraceHandle kept("regConcurrent");
    sendEmpty(kDone, g_tester);
    receive(kSelectGo);
}

TEST(DynTraceHandler, FourProcessesRegisteringAtOnceKeepTheCountExact) {
    asKernelProcess([] {
        g_tester = current_process();
        traceSetMask("regConcurrent", 0);  // the churn is not what is tested
        PROCESS users[4];
        for (PROCESS& user : users) {
            user = startProcess("reg_churn", churningUser);
        }
        for (PROCESS user : users) {
            sendEmpty(kGo, user);
        }
        for (int i = 0; i < 4; ++i) {
            ASSERT_TRUE(awaitSignal(kSelectDone));
        }
        const DynTraceHandler::TraceEntry entry = DynTraceHandler::getTraceEntry("regConcurrent");
        EXPECT_EQ(entry.userCount, 4u);
        EXPECT_NE(std::find(std::begin(users), std::end(users), entry.ownerProcess),
                  std::end(users));
        for (PROCESS user : users) {
            sendEmpty(kGo, user);
        }
        for (PROCESS user : users) {
            ASSERT_TRUE(ose_wait_ended(user, 10000));
        }
        EXPECT_FALSE(registered("regConcurrent"));
    });
}

}  // namespace
