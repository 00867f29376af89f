// The tools as a person runs them: their exit codes and messages, against no node, a
// node that never answers, and a node the test starts; and the picture of a sample file.
#include "ProgramRun.h"
#include "TimeLimit.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace programrun;

constexpr auto kLimit = std::chrono::seconds(60);

TEST(Tools, wrong_usage_is_exit_code_2_with_a_message) {
    TempFolder folder;
    const std::vector<std::vector<std::string>> cases = {
        ulsactl({}),
        ulsactl({"calibrate"}),
        ulsactl({"get", "--timeout", "soon"}),
        ulsactl({"create", "--no-such-option"}),
        ulsactl({"create", "=1"}),
        ulsactl({"set"}),
        ulsactl({"start"}),
        ulsactl({"start", "--ftp", "http://u:p@h/d"}),
        ulsactl({"start", "--ftp", "ftp://h/d"}),
        ulsactl({"start", "--ftp", "ftp://u:p@h/d", "--sampling-type", "3"}),
        ulsactl({"start", "--ftp", "ftp://u:p@h/d", "--center-frequency", "-1"}),
        ulsactl({"start", "--ftp"}),
        ulsactl({"trace", "ulsa*"}),
        ulsactl({"trace", "ulsa*=0-40"}),
        ulsactl({"trace", "ulsa*=4-2"}),
        ulsactl({"watch", "--seconds", "1e3"}),
        ulsactl({"plot", "file.bin"}),
        ulsactl({"plot", "-o", "x.png"}),
        {ULSA_RADIO_PATH, "--ports", "9"},
        {ULSA_RADIO_PATH, "--carrier", "1950:wide:-70"},
        {ULSA_RADIO_PATH, "--dc", "a/b"},
        {ULSA_RADIO_PATH, "--dc", "RU", "--unit", "--dc", "RU"},
        {ULSA_RADIO_PATH, "stray"},
    };
    for (const std::vector<std::string>& argv : cases) {
        const Ran result = run(argv, folder.path());
        std::string line;
        for (const std::string& arg : argv)
            line += arg + " ";
        EXPECT_EQ(result.code, 2) << line << "\n" << result.err;
        EXPECT_NE(result.err.find("usage"), std::string::npos) << line << "\n" << result.err;
    }
    for (const char* command : {"create", "set", "get", "delete", "capability", "start", "stop",
                                "watch", "trace", "plot"}) {
        const Ran help = run(ulsactl({command, "--help"}), folder.path());
        EXPECT_EQ(help.code, 0) << command;
        EXPECT_NE(help.out.find("example"), std::string::npos) << command;
    }
}

// A Unix socket that takes connections and never says a word: a node that hangs.
class SilentListener {
  public:
    explicit SilentListener(const std::string& path) {
        m_fd = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(bind(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(m_fd, 4), 0);
    }
    ~SilentListener() { close(m_fd); }

  private:
    int m_fd = -1;
};

TEST(Tools, no_node_or_a_silent_one_is_exit_code_1_within_seconds) {
    runWithTimeLimit(kLimit, [] {
        TempFolder absent;
        TempFolder silent;
        SilentListener listener(silent.path() + "/link");
        for (const std::string& state : {absent.path(), silent.path()}) {
            for (const char* command : {"get", "watch", "trace"}) {
                const Ran result = run(ulsactl({command, "--state", state}), absent.path());
                EXPECT_EQ(result.code, 1) << command << " " << state << "\n" << result.err;
                EXPECT_NE(result.err.find("no node at " + state + "/link"), std::string::npos)
                    << result.err;
                EXPECT_LT(result.seconds, 6.0) << command;
            }
        }
    });
}

TEST(Tools, create_get_ask_a_radio_unit_and_delete_on_a_running_node) {
    bool noRmciClient = false;
    runWithTimeLimit(kLimit, [&noRmciClient] {
        Node node;
        Ran result = node.ctl({"create"});
        ASSERT_EQ(result.code, 0) << result.err;
        EXPECT_NE(result.out.find("created ManagedElement=1,UlSpectrumAnalyzer=1"),
                  std::string::npos);

        result = node.ctl({"get"});
        ASSERT_EQ(result.code, 0) << result.err;
        EXPECT_EQ(result.out,
                  "info=0\nsamplingType=0\ntargetRfPort=0\nulSpectrumSamplingStatus=0\n");

        // An action the node refuses: its own text, exit code 1.
        result =
            node.ctl({"start", "--ftp", "ftp://u:p@127.0.0.1:1/d", "--target-rf-port", "RfPort=I"});
        EXPECT_EQ(result.code, 1);
        EXPECT_NE(result.err.find("Invalid action parameter(s)"), std::string::npos) << result.err;

        // A radio unit of ulsa-radio, reached through its link and its status service
        // published at the node.
        Program radio = radioUnit(node, {"--ports", "2"});
        for (int attempt = 0; attempt < 50; ++attempt) {
            result = node.ctl({"capability"});
            if (result.code == 0 || result.err.find("(no RMCI client)") != std::string::npos)
                break;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        // A load module built without its RMCI client says so, and nothing more is asked.
        noRmciClient = result.err.find("(no RMCI client)") != std::string::npos;
        if (!noRmciClient) {
            EXPECT_EQ(result.code, 0) << result.err;
            EXPECT_NE(result.out.find("carrierRfPort2 = 2\nnumSpectrumTypes2 = 1\n"),
                      std::string::npos)
                << result.out;
            EXPECT_NE(result.out.find("maxNumSamplings1 = 4096\n"), std::string::npos)
                << result.out;
        }

        result = node.ctl({"delete"});
        ASSERT_EQ(result.code, 0) << result.err;
        result = node.ctl({"get"});
        EXPECT_EQ(result.code, 1) << result.out;
        EXPECT_FALSE(result.err.empty());
    });
    if (noRmciClient)
        GTEST_SKIP() << "the node's load module has no RMCI client: capability not asked";
}

}  // namespace
