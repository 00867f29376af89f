// TraceBackend is a registry of its own beside DynTraceHandler.
#include "DynTraceHandler.h"
#include "TraceBackend.h"
#include "TraceCapture.h"
#include "dynTrace.h"
#include "oseHost.h"
#include "traceHost.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(TraceBackend, KeepsItsOwnEntriesPrefixAndTraceObject) {
    traceConfigure("TraceBackendLU=0+1+4,DynTraceLU=0+1+4,TvpIf=10+11");
    ose_adopt_thread("backend_test");
    {
        DynTraceHandler::setTraceObjectPrefix("ulsa");
        TraceObject* fromBackend = TraceBackend::registerTraceObject("TvpIf");
        TraceObject* fromHandler = DynTraceHandler::registerTraceObject("TvpIf");
        // One service object per name, but two registries counting their own users.
        EXPECT_EQ(fromBackend, fromHandler);
        EXPECT_EQ(TraceBackend::getTraceEntry("TvpIf").userCount, 1u);
        EXPECT_EQ(DynTraceHandler::getTraceEntry("TvpIf").userCount, 1u);
        EXPECT_EQ(TraceBackend::getRegisteredTraceObjectNames(), std::vector<std::string>{"TvpIf"});
        EXPECT_NE(
            TraceBackend::toString().find("{ trace Object name = \"TvpIf\", user count = 1, "),
            std::string::npos);

        // The prefix of one registry is not the other's.
        EXPECT_EQ(TraceBackend::traceObjectName("NameServerOseLU"), "NameServerOseLU");
        TraceBackend::setTraceObjectSuffix("_b");
        EXPECT_EQ(DynTraceHandler::traceObjectName("X"), "ulsaX");
        EXPECT_EQ(TraceBackend::traceObjectName("X"), "X_b");
        TraceBackend::setTraceObjectSuffix("");
        DynTraceHandler::setTraceObjectPrefix("");

        DynTraceHandler::deregisterTraceObject(fromHandler);
        EXPECT_EQ(DynTraceHandler::getTraceEntry("TvpIf").traceRef, nullptr);
        EXPECT_EQ(TraceBackend::getTraceObjectRef("TvpIf"), fromBackend);
        TraceBackend::deregisterTraceObject(fromBackend);
        EXPECT_TRUE(TraceBackend::getRegisteredTraceObjectNames().empty());

        // Its own traces go through its own object.
        TraceCapture capture;
        EXPECT_EQ(TraceBackend::getTraceObjectRef("NameServerOseLU"), &traceDummyObject);
        EXPECT_EQ(
            capture.texts("TraceBackendLU"),
            std::vector<std::string>{"Trace object name \"NameServerOseLU\" is not registered"});
        EXPECT_TRUE(capture.texts("DynTraceLU").empty());

        capture.clear();
        {
            TraceBackendHandle handle("TvpIf");
            TRACE(handle, 10, "signal 0x%x sent", 0x7B76u);
            TRACE(handle, 2, "level off");
            EXPECT_EQ(TraceBackend::getTraceEntry("TvpIf").userCount, 1u);
        }
        EXPECT_EQ(capture.texts("TvpIf"), std::vector<std::string>{"signal 0x7b76 sent"});
        EXPECT_TRUE(TraceBackend::getRegisteredTraceObjectNames().empty());
    }
    ose_leave_thread();
    ose_shutdown();
    traceConfigure("");
}

}  // namespace
