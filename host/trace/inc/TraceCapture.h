// TraceCapture: collects the trace output in memory while it lives, for tests.
//
//   TraceCapture capture;
//   ... code under test ...
//   EXPECT_EQ(capture.texts("ulsaTimerLU"), (std::vector<std::string>{"Timer::start(timeOut=5)"}));
//
// Only one capture may live at a time: it owns the service's sink.
#ifndef TRACE_CAPTURE_H
#define TRACE_CAPTURE_H

#include "traceHost.h"

#include <mutex>
#include <string>
#include <vector>

/// One output line taken apart: "<time> <process> <object> L<level> <file>:<line>: <text>".
struct TraceLine {
    std::string time;
    std::string process;
    std::string object;
    unsigned level = 0;
    std::string file;
    unsigned line = 0;
    std::string text;

    /// False when the line is not in the output format.
    static bool parse(const std::string& raw, TraceLine& out);
};

class TraceCapture {
  public:
    TraceCapture();
    ~TraceCapture();
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    /// Every line so far, as written.
    std::vector<std::string> lines() const;
    /// Every line so far, taken apart (lines not in the format are left out).
    std::vector<TraceLine> parsed() const;
    /// The texts written through the object of that name, in order.
    std::vector<std::string> texts(const std::string& object) const;
    /// Whether some line contains the fragment.
    bool contains(const std::string& fragment) const;
    void clear();

  private:
    mutable std::mutex m_lock;  // guards m_lines: the sink runs on the tracing thread
    std::vector<std::string> m_lines;
};

#endif  // TRACE_CAPTURE_H
