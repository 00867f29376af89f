// TraceOutput: formats trace records into lines and writes them.
//
// Every line carries the full heading: time (UTC, microseconds), process, object,
// level, source file and line. A record is written under one lock, one write() per
// line, so that records of different threads never interleave and lines of
// different Linux processes appending to one file never break.
#ifndef TRACE_OUTPUT_H
#define TRACE_OUTPUT_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

class TraceOutput {
  public:
    TraceOutput() = default;
    ~TraceOutput();
    TraceOutput(const TraceOutput&) = delete;
    TraceOutput& operator=(const TraceOutput&) = delete;

    /// Writes a text; each of its lines becomes an output line.
    void writeText(const char* object, unsigned level, const char* file, unsigned line,
                   const char* text);

    /// Writes the heading text and then the bytes as hex dump lines of 16 bytes.
    void writeData(const char* object, unsigned level, const char* file, unsigned line,
                   const char* heading, const uint8_t* data, std::size_t length);

    /// An empty function sends the output back to the file or stderr.
    void setSink(std::function<void(const std::string&)> sink);

    /// Appends to path from now on ("" is stderr); false when it cannot be opened.
    bool setFile(const std::string& path);

  private:
    static std::string lineHead(const char* object, unsigned level, const char* file,
                                unsigned line);
    static void appendTextLines(const std::string& head, const char* text,
                                std::vector<std::string>& lines);
    void emit(const std::vector<std::string>& lines);

    std::mutex m_lock;  // guards m_fd and m_sink, and keeps a record's lines together
    int m_fd = 2;       // stderr until a file is set
    std::function<void(const std::string&)> m_sink;
};

#endif  // TRACE_OUTPUT_H
