// TraceLines: every trace line written while the object lives, for tests to look at.
#ifndef TEST_SUPPORT_TRACE_LINES_H
#define TEST_SUPPORT_TRACE_LINES_H

#include "traceHost.h"

#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace testsupport {

class TraceLines {
  public:
    TraceLines() {
        traceSetSink([this](const std::string& line) {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_lines.push_back(line);
        });
    }
    ~TraceLines() { traceSetSink({}); }
    TraceLines(const TraceLines&) = delete;
    TraceLines& operator=(const TraceLines&) = delete;

    /// Lines of that level that end in the text.
    std::size_t count(unsigned level, const std::string& tail) const {
        const std::string levelTag = " L" + std::to_string(level) + " ";
        std::lock_guard<std::mutex> lock(m_mutex);
        std::size_t found = 0;
        for (const std::string& line : m_lines) {
            if (line.find(levelTag) != std::string::npos && line.size() >= tail.size() &&
                line.compare(line.size() - tail.size(), tail.size(), tail) == 0)
                ++found;
        }
        return found;
    }
    /// Lines of any level that hold the text.
    std::size_t countContaining(const std::string& part) const {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::size_t found = 0;
        for (const std::string& line : m_lines)
            found += line.find(part) != std::string::npos ? 1 : 0;
        return found;
    }
    /// Waits until count lines of that level end in the text; false after timeoutMs.
    bool waitFor(unsigned level, const std::string& tail, std::size_t count = 1,
                 int timeoutMs = 5000) const {
        const auto deadline =
            std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        while (this->count(level, tail) < count) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    }

  private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_lines;
};

}  // namespace testsupport

#endif  // TEST_SUPPORT_TRACE_LINES_H
