// LevelTraceCapture: switches every level of the named trace objects on and keeps the
// lines they write, for the duration of a test.
#ifndef LEVEL_TRACE_CAPTURE_H
#define LEVEL_TRACE_CAPTURE_H

#include "traceHost.h"

#include <mutex>
#include <string>
#include <vector>

class LevelTraceCapture {
  public:
    explicit LevelTraceCapture(std::vector<std::string> objectPatterns)
        : patterns(std::move(objectPatterns)) {
        traceSetSink([this](const std::string& line) {
            std::lock_guard<std::mutex> lock(mutex);
            lines.push_back(line);
        });
        for (const std::string& pattern : patterns) {
            traceSetMask(pattern, 0xFFFFFFFFu);
        }
    }

    ~LevelTraceCapture() {
        for (const std::string& pattern : patterns) {
            traceSetMask(pattern, pattern == kTraceDefaultObjectName ? kTraceDefaultObjectMask
                                                                     : kTraceUnnamedMask);
        }
        traceSetSink(nullptr);
    }

    LevelTraceCapture(const LevelTraceCapture&) = delete;
    LevelTraceCapture& operator=(const LevelTraceCapture&) = delete;

    /// How many lines of that level carry exactly that text.
    std::size_t count(unsigned level, const std::string& text) const {
        std::lock_guard<std::mutex> lock(mutex);
        std::size_t found = 0;
        for (const std::string& line : lines) {
            std::string lineText;
            if (textOf(line, level, lineText) && lineText == text) {
                ++found;
            }
        }
        return found;
    }

    /// Whether a line of that level carries exactly that text.
    bool has(unsigned level, const std::string& text) const { return count(level, text) > 0; }

    /// Whether a line of that level begins with that text.
    bool hasPrefix(unsigned level, const std::string& prefix) const {
        std::lock_guard<std::mutex> lock(mutex);
        for (const std::string& line : lines) {
            std::string lineText;
            if (textOf(line, level, lineText) && lineText.compare(0, prefix.size(), prefix) == 0) {
                return true;
            }
        }
        return false;
    }

    /// Number of lines written so far.
    std::size_t size() const {
        std::lock_guard<std::mutex> lock(mutex);
        return lines.size();
    }

    void clear() {
        std::lock_guard<std::mutex> lock(mutex);
        lines.clear();
    }

  private:
    // A line is "<time> <process> <object> L<level> <file>:<line>: <text>".
    static bool textOf(const std::string& line, unsigned level, std::string& text) {
        const std::string levelMark = " L" + std::to_string(level) + " ";
        const std::size_t mark = line.find(levelMark);
        if (mark == std::string::npos) {
            return false;
        }
        const std::size_t colon = line.find(": ", mark + levelMark.size());
        if (colon == std::string::npos) {
            return false;
        }
        text = line.substr(colon + 2);
        return true;
    }

    std::vector<std::string> patterns;
    mutable std::mutex mutex;
    std::vector<std::string> lines;
};

#endif  // LEVEL_TRACE_CAPTURE_H
