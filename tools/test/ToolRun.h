// ToolRun: the tools' tests run programs as a person does, to their end, under a limit.
#ifndef TOOLS_TEST_TOOL_RUN_H
#define TOOLS_TEST_TOOL_RUN_H

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace toolrun {

/// A folder of the test's own, removed with everything in it at the end.
class TempFolder {
  public:
    TempFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "ulsa-tools-XXXXXX").string();
        const char* made = mkdtemp(pattern.data());
        m_path = made != nullptr ? made : "";
    }
    ~TempFolder() {
        std::error_code ignored;
        if (!m_path.empty())
            std::filesystem::remove_all(m_path, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    const std::string& path() const { return m_path; }

  private:
    std::string m_path;
};

using Clock = std::chrono::steady_clock;
struct Ran {
    int code = -1;
    std::string out;
    std::string err;
    double seconds = 0;
};

inline std::string slurp(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

inline pid_t spawn(const std::vector<std::string>& argv, const std::string& out, const std::string& err) {
    const pid_t child = fork();
    if (child == 0) {
        const int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(o, 1);
        dup2(e, 2);
        std::vector<char*> args;
        for (const std::string& arg : argv)
            args.push_back(const_cast<char*>(arg.c_str()));
        args.push_back(nullptr);
        execv(args[0], args.data());
        _exit(127);
    }
    return child;
}

// Runs a program to its end; one that outlives `limit` is killed and fails the test.
inline Ran run(const std::vector<std::string>& argv, const std::string& folder,
        std::chrono::seconds limit = std::chrono::seconds(15)) {
    const std::string out = folder + "/out.txt";
    const std::string err = folder + "/err.txt";
    const auto began = Clock::now();
    const pid_t child = spawn(argv, out, err);
    Ran result;
    int status = 0;
    while (waitpid(child, &status, WNOHANG) == 0) {
        if (Clock::now() - began > limit) {
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            ADD_FAILURE() << argv[0] << " " << argv[1] << " did not end within " << limit.count()
                          << " s";
            return result;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    result.seconds = std::chrono::duration<double>(Clock::now() - began).count();
    result.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.out = slurp(out);
    result.err = slurp(err);
    return result;
}

inline std::vector<std::string> ulsactl(std::vector<std::string> args) {
    args.insert(args.begin(), ULSACTL_PATH);
    return args;
}

}  // namespace toolrun

#endif  // TOOLS_TEST_TOOL_RUN_H
