// Faults around a sampling run, with the real programs: a radio unit killed during a
// transfer, an FTP server that is down or refuses the login, and a subscriber killed
// while subscribed. Each checks what the operator sees: the analyzer's attributes, the
// node's trace, the node's disk and the files on the FTP server.
#include "ProgramRun.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

namespace {

using namespace programrun;

constexpr auto kRunLimit = std::chrono::seconds(90);

// The files on the node's disk under "/d/ulsasample".
std::vector<std::string> samplesOnDisk(const Node& node) {
    std::vector<std::string> names;
    std::error_code ignored;
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(node.sampleFolder(), ignored))
        if (entry.is_regular_file())
            names.push_back(entry.path().string());
    return names;
}

std::size_t count(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++found;
    return found;
}

// Waits until a radio unit is linked and answers the analyzer's capability.
void waitForUnit(const Node& node) {
    Ran capability;
    const bool answered =
        pollUntil([&] { return (capability = node.ctl({"capability"})).code == 0; });
    ASSERT_TRUE(answered) << capability.err;
}

// A run that goes well: its file arrives on the server and leaves the node's disk.
void runWell(const Node& node, const FtpServer& ftp, std::size_t filesBefore) {
    const Ran run = node.ctl({"start", "--ftp", ftp.url("samples"), "--wait"}, kRunLimit);
    EXPECT_EQ(run.code, 0) << run.out << run.err;
    EXPECT_NE(run.out.find("file on the server: "), std::string::npos) << run.out;
    EXPECT_EQ(ftp.files("samples").size(), filesBefore + 1);
    EXPECT_EQ(node.attribute("info"), "0");
    EXPECT_EQ(node.attribute("ulSpectrumSamplingStatus"), "2");
    EXPECT_TRUE(samplesOnDisk(node).empty());
}

TEST(Faults, radio_unit_killed_during_a_transfer_fails_the_run_and_a_new_unit_serves) {
    Node node;
    FtpServer ftp;
    // 4000 bins are 8024 bytes: 8 blocks, 400 ms apart.
    Program radio = radioUnit(
        node, {"--measurement-ms", "200", "--block-size", "1024", "--block-delay-ms", "400"});
    ASSERT_EQ(node.ctl({"create"}).code, 0);
    waitForUnit(node);
    const Ran started = node.ctl({"start", "--ftp", ftp.url("samples")});
    ASSERT_EQ(started.code, 0) << started.err;
    ASSERT_TRUE(pollUntil([&] { return !samplesOnDisk(node).empty(); }))
        << "no block came: " << node.trace();
    radio.kill();

    EXPECT_TRUE(pollUntil([&] { return node.attribute("ulSpectrumSamplingStatus") == "3"; }))
        << node.trace();
    EXPECT_EQ(node.attribute("info"), "8");
    EXPECT_TRUE(pollUntil([&] { return samplesOnDisk(node).empty(); }))
        << "left on the node's disk: " << samplesOnDisk(node)[0];
    EXPECT_TRUE(ftp.files("samples").empty());

    radio = radioUnit(node, {"--measurement-ms", "200"});
    waitForUnit(node);
    runWell(node, ftp, 0);
}

TEST(Faults, upload_to_a_server_that_is_down_or_refuses_the_login_fails_with_info_2) {
    Node node;
    FtpServer ftp;
    Program radio = radioUnit(node, {"--measurement-ms", "200"});
    ASSERT_EQ(node.ctl({"create"}).code, 0);
    waitForUnit(node);
    struct Case {
        const char* what;
        bool serverDown;
        const char* password;
    };
    const Case cases[] = {{"server down", true, FtpServer::kPassword},
                          {"wrong password", false, "not-the-password"}};
    std::size_t failures = 0;
    std::size_t uploaded = 0;
    for (const Case& fault : cases) {
        SCOPED_TRACE(fault.what);
        if (fault.serverDown)
            ftp.stop();
        const Ran run =
            node.ctl({"start", "--ftp", ftp.url("samples", fault.password), "--wait"}, kRunLimit);
        EXPECT_EQ(run.code, 1) << run.out << run.err;
        EXPECT_NE(run.err.find("the run failed (info 2)"), std::string::npos) << run.err;
        EXPECT_EQ(node.attribute("info"), "2");
        EXPECT_EQ(node.attribute("ulSpectrumSamplingStatus"), "3");
        EXPECT_EQ(count(node.trace(), "Failed to FTP file to server"), ++failures) << node.trace();
        EXPECT_TRUE(samplesOnDisk(node).empty());
        if (fault.serverDown)
            ftp.start();
        EXPECT_EQ(ftp.files("samples").size(), uploaded);
        runWell(node, ftp, uploaded++);
    }
}

TEST(Faults, a_watch_killed_while_subscribed_loses_its_subscription) {
    Node node("ulsaIndHandlerLU=0-4+8");
    ASSERT_EQ(node.ctl({"create"}).code, 0);
    const std::regex subscribed("Process (0x[0-9a-f]+) subscribes to froType");
    std::smatch match;
    std::string trace;
    Watch watch(node);
    ASSERT_TRUE(pollUntil([&] {
        trace = node.trace();
        return std::regex_search(trace, match, subscribed);
    })) << trace;
    const std::string subscriber = match[1];
    watch.program().kill();
    const std::string removed = "Process " + subscriber + " has ended: 1 subscriptions removed";
    EXPECT_TRUE(pollUntil([&] { return node.trace().find(removed) != std::string::npos; }))
        << node.trace();

    // The node serves the next subscriber, and it hears the analyzer's changes.
    Watch next(node);
    ASSERT_TRUE(pollUntil([&] { return count(node.trace(), "subscribes to froType") == 2; }));
    // Without a radio unit the run starts (status 1) and is not answered soon.
    const Ran start = node.ctl({"start", "--ftp", "ftp://u:p@127.0.0.1:1/d", "--timeout", "500"});
    EXPECT_TRUE(next.waitFor("\"ulSpectrumSamplingStatus\":\"1\"")) << start.err;
}

}  // namespace
