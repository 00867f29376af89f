// ULSA_TRACE and ULSA_TRACE_FILE, read once when the service is set up. The service
// is set up once per Linux process, so this program holds this one test only.
#include "traceAndError.h"
#include "traceHost.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

std::vector<std::string> readLines(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST(TraceEnvironment, SetUpReadsTheRulesAndAppendsToTheFile) {
    char path[] = "/tmp/ulsa_trace_env_XXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(write(fd, "earlier line\n", 13), 13);
    close(fd);
    setenv("ULSA_TRACE", "envA*=2-3,broken", 1);
    setenv("ULSA_TRACE_FILE", path, 1);

    TraceCall setup{};
    EXPECT_EQ(traceAndErrorInit(TRACE_OP_SETUP, &setup), 0);
    // A second set-up changes nothing: the environment is read once.
    setenv("ULSA_TRACE", "envA*=9", 1);
    EXPECT_EQ(traceAndErrorInit(TRACE_OP_SETUP, &setup), 0);

    TraceRef ref{nullptr};
    TraceCall call{};
    call.ref = &ref;
    call.name = "envAlpha";
    ASSERT_EQ(traceAndErrorInit(TRACE_OP_REGISTER, &call), 0);
    EXPECT_EQ(ref.load()->mask.load(), (1u << 2) | (1u << 3));
    call.level = 3;
    call.file = "src/env.cpp";
    call.line = 12;
    call.text = "into the file";
    EXPECT_EQ(traceAndErrorInit(TRACE_OP_WRITE, &call), 0);

    const std::vector<std::string> lines = readLines(path);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "earlier line");
    EXPECT_NE(lines[1].find(" traceService L4 "), std::string::npos) << lines[1];
    EXPECT_NE(lines[1].find("ULSA_TRACE: 'broken'"), std::string::npos) << lines[1];
    EXPECT_NE(lines[2].find(" envAlpha L3 env.cpp:12: into the file"), std::string::npos)
        << lines[2];

    // An output file that cannot be opened leaves the output where it is.
    EXPECT_FALSE(traceSetOutputFile("/nonexistent-dir/trace.log"));
    EXPECT_EQ(traceAndErrorInit(TRACE_OP_WRITE, &call), 0);
    EXPECT_EQ(readLines(path).size(), 4u);
    EXPECT_TRUE(traceSetOutputFile(""));
    std::remove(path);
}

}  // namespace
