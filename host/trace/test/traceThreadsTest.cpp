// Records of several threads written to one file never interleave.
#include "TimeLimit.h"
#include "TraceCapture.h"
#include "traceAndError.h"
#include "traceHost.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

TEST(TraceThreads, RecordsOfFourThreadsStayWholeAndInOrder) {
    constexpr int kThreads = 4;
    constexpr int kRecords = 2000;
    char path[] = "/tmp/ulsa_trace_threads_XXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    traceConfigure("threadObj*=6");
    ASSERT_TRUE(traceSetOutputFile(path));

    runWithTimeLimit(std::chrono::seconds(30), [] {
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([t] {
                const std::string name = "threadObj" + std::to_string(t);
                TraceRef object{nullptr};
                TraceCall call{};
                call.ref = &object;
                call.name = name.c_str();
                traceAndErrorInit(TRACE_OP_REGISTER, &call);
                const std::string padding(300, static_cast<char>('a' + t));
                for (int r = 0; r < kRecords; ++r) {
                    const std::string text = "t" + std::to_string(t) + " r" + std::to_string(r) +
                                             " first " + padding + "\nt" + std::to_string(t) +
                                             " r" + std::to_string(r) + " second";
                    call.level = 6;
                    call.file = __FILE__;
                    call.line = __LINE__;
                    call.text = text.c_str();
                    traceAndErrorInit(TRACE_OP_WRITE, &call);
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    });
    ASSERT_TRUE(traceSetOutputFile(""));
    traceConfigure("");

    std::ifstream in(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    std::remove(path);
    ASSERT_EQ(lines.size(), static_cast<std::size_t>(kThreads * kRecords * 2));
    std::map<int, int> nextRecord;
    for (std::size_t i = 0; i < lines.size(); i += 2) {
        TraceLine head;
        TraceLine tail;
        ASSERT_TRUE(TraceLine::parse(lines[i], head)) << lines[i];
        ASSERT_TRUE(TraceLine::parse(lines[i + 1], tail)) << lines[i + 1];
        // "t<thread> r<record> first <300 letters of the thread>"
        std::istringstream words(head.text);
        char tee = 0;
        char ar = 0;
        int t = -1;
        int r = -1;
        std::string word;
        std::string padding;
        words >> tee >> t >> ar >> r >> word >> padding;
        ASSERT_TRUE(tee == 't' && ar == 'r' && word == "first" && t >= 0 && t < kThreads)
            << head.text;
        EXPECT_EQ(padding, std::string(300, static_cast<char>('a' + t)));
        EXPECT_FALSE(words >> word) << head.text;
        EXPECT_EQ(head.object, "threadObj" + std::to_string(t));
        EXPECT_EQ(tail.text, "t" + std::to_string(t) + " r" + std::to_string(r) + " second");
        EXPECT_EQ(r, nextRecord[t]++);
    }
}

}  // namespace
