// The service through traceAndErrorInit: registration, the dummy and default
// objects, the output format, data traces and refused calls.
#include "TraceCapture.h"
#include "traceAndError.h"
#include "traceHost.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

TraceObject* registerName(const char* name) {
    TraceRef ref{nullptr};
    TraceCall call{};
    call.ref = &ref;
    call.name = name;
    EXPECT_EQ(traceAndErrorInit(TRACE_OP_REGISTER, &call), 0) << name;
    return ref.load();
}

int writeText(TraceObject* object, unsigned level, const char* text, const char* file = "t.cpp",
              unsigned line = 1) {
    TraceRef ref{object};
    TraceCall call{};
    call.ref = &ref;
    call.level = level;
    call.file = file;
    call.line = line;
    call.text = text;
    return traceAndErrorInit(TRACE_OP_WRITE, &call);
}

int writeData(TraceObject* object, unsigned level, const char* heading, const void* data,
              uint16_t length) {
    TraceRef ref{object};
    TraceCall call{};
    call.ref = &ref;
    call.level = level;
    call.file = "d.cpp";
    call.line = 7;
    call.text = heading;
    call.data = data;
    call.length = length;
    return traceAndErrorInit(TRACE_OP_DATA, &call);
}

// "2025-11-21T05:20:00.123456Z": 'd' stands for a digit.
bool timeFormatted(const std::string& time) {
    const std::string form = "dddd-dd-ddTdd:dd:dd.ddddddZ";
    if (time.size() != form.size()) {
        return false;
    }
    for (std::size_t i = 0; i < form.size(); ++i) {
        if (form[i] == 'd' ? (time[i] < '0' || time[i] > '9') : time[i] != form[i]) {
            return false;
        }
    }
    return true;
}

bool listed(const std::string& name) {
    for (const TraceObjectInfo& info : traceGetObjects()) {
        if (info.name == name) {
            return true;
        }
    }
    return false;
}

class TraceServiceTest : public ::testing::Test {
  protected:
    void SetUp() override { traceConfigure(""); }
    void TearDown() override { traceConfigure(""); }
};

TEST_F(TraceServiceTest, NameRegisteredTwiceIsOneObjectAndAFreedObjectLeavesTheList) {
    TraceObject* first = registerName("svcShared");
    ASSERT_NE(first, nullptr);
    EXPECT_NE(first, &traceDummyObject);
    EXPECT_STREQ(first->name, "svcShared");
    EXPECT_EQ(registerName("svcShared"), first);
    EXPECT_NE(registerName("svcOther"), first);
    EXPECT_TRUE(listed("svcShared"));

    TraceRef ref{first};
    TraceCall call{};
    call.ref = &ref;
    EXPECT_EQ(traceAndErrorInit(TRACE_OP_FREE, &call), 0);
    EXPECT_EQ(ref.load(), &traceDummyObject);
    EXPECT_FALSE(listed("svcShared"));
    // The dummy, an already freed object and a stranger are not the service's to free.
    EXPECT_EQ(traceAndErrorInit(TRACE_OP_FREE, &call), -1);
    ref = first;
    EXPECT_EQ(traceAndErrorInit(TRACE_OP_FREE, &call), -1);
    TraceObject stranger{};
    ref = &stranger;
    EXPECT_EQ(traceAndErrorInit(TRACE_OP_FREE, &call), -1);

    // Registered again, the name comes back with its mask computed from the rules.
    traceSetMask("svcShared", 1u << 7);
    EXPECT_EQ(registerName("svcShared"), first);
    EXPECT_EQ(first->mask.load(), 1u << 7);
    EXPECT_TRUE(listed("svcShared"));
}

TEST_F(TraceServiceTest, LineCarriesTimeProcessObjectLevelAndTheFilesLastComponent) {
    TraceObject* object = registerName("svcFormat");
    TraceCapture capture;
    EXPECT_EQ(writeText(object, 1, "hello world", "/a/b/c/source.cpp", 42), 0);
    EXPECT_EQ(writeText(object, 0, "no path", "plain.cpp", 3), 0);
    EXPECT_EQ(writeText(object, 4, "two\nlines\n"), 0);
    EXPECT_EQ(writeText(object, 1, "bell\acarriage\rtab\t."), 0);
    EXPECT_EQ(writeText(object, 1, ""), 0);
    const std::vector<std::string> lines = capture.lines();
    ASSERT_EQ(lines.size(), 6u);
    TraceLine first;
    ASSERT_TRUE(TraceLine::parse(lines[0], first)) << lines[0];
    EXPECT_TRUE(timeFormatted(first.time)) << first.time;
    EXPECT_EQ(first.process, "-");  // the test's thread is no kernel process
    EXPECT_EQ(first.object, "svcFormat");
    EXPECT_EQ(first.level, 1u);
    EXPECT_EQ(first.file, "source.cpp");
    EXPECT_EQ(first.line, 42u);
    EXPECT_EQ(first.text, "hello world");
    EXPECT_EQ(lines[0].substr(27), " - svcFormat L1 source.cpp:42: hello world");
    EXPECT_NE(lines[1].find(" svcFormat L0 plain.cpp:3: no path"), std::string::npos) << lines[1];
    EXPECT_NE(lines[2].find(" L4 t.cpp:1: two"), std::string::npos);
    EXPECT_NE(lines[3].find(" L4 t.cpp:1: lines"), std::string::npos);
    EXPECT_NE(lines[4].find(": bell\\x07carriage\\x0dtab\t."), std::string::npos) << lines[4];
    TraceLine empty;
    ASSERT_TRUE(TraceLine::parse(lines[5], empty));
    EXPECT_EQ(empty.text, "");
    EXPECT_EQ(empty.process, "-");  // the test's thread is no kernel process
}

TEST_F(TraceServiceTest, OnlyLevelsOfTheMaskAreWritten) {
    TraceObject* object = registerName("svcLevels");
    EXPECT_EQ(object->mask.load(), kTraceUnnamedMask);
    TraceCapture capture;
    for (unsigned level = 0; level < 32; ++level) {
        EXPECT_EQ(writeText(object, level, ("level " + std::to_string(level)).c_str()), 0);
        EXPECT_EQ(writeText(&traceDummyObject, level, ("dummy " + std::to_string(level)).c_str()),
                  0);
    }
    EXPECT_EQ(capture.texts("svcLevels"),
              (std::vector<std::string>{"level 0", "level 1", "level 4"}));
    EXPECT_EQ(capture.texts("traceDummy"),
              (std::vector<std::string>{"dummy 0", "dummy 1", "dummy 4", "dummy 20", "dummy 21"}));
}

TEST_F(TraceServiceTest, DataIsWrittenAsHexDumpLinesAfterItsHeading) {
    TraceObject* object = registerName("svcData");
    uint8_t bytes[20];
    for (unsigned i = 0; i < sizeof bytes; ++i) {
        bytes[i] = static_cast<uint8_t>(0x41 + i);
    }
    bytes[1] = 0x00;
    TraceCapture capture;
    EXPECT_EQ(writeData(object, 1, "SigNo: 0x7e100", bytes, sizeof bytes), 0);
    EXPECT_EQ(writeData(object, 1, "empty", nullptr, 0), 0);
    EXPECT_EQ(writeData(object, 2, "level off", bytes, sizeof bytes), 0);
    EXPECT_EQ(writeData(object, 1, "null data", nullptr, 4), -1);
    EXPECT_EQ(capture.texts("svcData"),
              (std::vector<std::string>{
                  "SigNo: 0x7e100",
                  "0000: 41 00 43 44 45 46 47 48 49 4a 4b 4c 4d 4e 4f 50  A.CDEFGHIJKLMNOP",
                  "0010: 51 52 53 54                                      QRST",
                  "empty",
              }));
}

TEST_F(TraceServiceTest, GetRefAndAttachHandOutTheDummyAndTheDefaultObject) {
    TraceRef ref{nullptr};
    TraceCall call{};
    call.ref = &ref;
    EXPECT_EQ(traceAndErrorInit(TRACE_OP_GET_REF, &call), 0);
    EXPECT_EQ(ref.load(), &traceDummyObject);
    TraceObject* own = registerName("svcGetRef");
    ref = own;
    EXPECT_EQ(traceAndErrorInit(TRACE_OP_GET_REF, &call), 0);
    EXPECT_EQ(ref.load(), own);

    TraceRef attached{&traceDummyObject};
    call.ref = &attached;
    EXPECT_EQ(traceAndErrorInit(TRACE_OP_ATTACH, &call), 0);
    const TraceObject* defaultRef = attached.load();
    ASSERT_NE(defaultRef, &traceDummyObject);
    EXPECT_STREQ(defaultRef->name, kTraceDefaultObjectName);
    EXPECT_EQ(defaultRef->mask.load(), kTraceDefaultObjectMask);
    EXPECT_TRUE(listed(kTraceDefaultObjectName));

    // Wildcards leave the default object alone; its full name reaches it.
    EXPECT_EQ(traceConfigure("*=none"), 0);
    EXPECT_EQ(defaultRef->mask.load(), kTraceDefaultObjectMask);
    EXPECT_EQ(own->mask.load(), 0u);
    EXPECT_EQ(traceSetMask("trace*", 0), 0);
    EXPECT_EQ(defaultRef->mask.load(), kTraceDefaultObjectMask);
    EXPECT_EQ(traceSetMask(kTraceDefaultObjectName, 3), 1);
    EXPECT_EQ(defaultRef->mask.load(), 3u);
    traceConfigure("");
    EXPECT_EQ(defaultRef->mask.load(), kTraceDefaultObjectMask);

    call.ref = &attached;
    EXPECT_EQ(traceAndErrorInit(TRACE_OP_FREE, &call), -1);
    EXPECT_EQ(attached.load(), defaultRef);
}

TEST_F(TraceServiceTest, MalformedCallsAreRefusedAndWriteNothing) {
    TraceCapture capture;
    TraceCall call{};
    EXPECT_EQ(traceAndErrorInit(7, &call), -1);
    EXPECT_EQ(traceAndErrorInit(-1, &call), -1);
    EXPECT_EQ(traceAndErrorInit(TRACE_OP_WRITE, nullptr), -1);
    EXPECT_EQ(traceAndErrorInit(TRACE_OP_SETUP, nullptr), 0);
    EXPECT_EQ(traceAndErrorInit(TRACE_OP_REGISTER, &call), -1);  // no name, no ref
    EXPECT_EQ(traceAndErrorInit(TRACE_OP_ATTACH, &call), -1);
    EXPECT_EQ(traceAndErrorInit(TRACE_OP_GET_REF, &call), -1);
    TraceRef ref{nullptr};
    call.ref = &ref;
    for (const char* name : {"", "two words", "tab\tname", "line\nfeed"}) {
        call.name = name;
        EXPECT_EQ(traceAndErrorInit(TRACE_OP_REGISTER, &call), -1) << name;
        EXPECT_EQ(ref.load(), nullptr);
    }
    EXPECT_EQ(traceAndErrorInit(TRACE_OP_WRITE, &call), -1);  // null object
    ref = registerName("svcRefused");
    EXPECT_EQ(writeText(ref, 1, nullptr), -1);
    EXPECT_EQ(writeText(ref, 32, "level 32"), -1);
    TraceObject stranger{};
    stranger.mask.store(0xFFFFFFFFu);
    EXPECT_EQ(writeText(&stranger, 1, "not ours"), -1);
    EXPECT_EQ(writeData(&stranger, 1, "not ours", "x", 1), -1);
    EXPECT_TRUE(capture.lines().empty());

    // A name longer than the record's field is kept whole for rules and lists.
    const std::string longName(100, 'n');
    TraceObject* longObject = registerName(longName.c_str());
    EXPECT_EQ(std::strlen(longObject->name), sizeof longObject->name - 1);
    EXPECT_EQ(traceSetMask(longName, 1u << 9), 1);
    EXPECT_TRUE(listed(longName));
}

}  // namespace
