#include "TraceOutput.h"

#include "oseHost.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

namespace {

const char* baseName(const char* file) {
    if (file == nullptr) {
        return "?";
    }
    const char* slash = std::strrchr(file, '/');
    return slash != nullptr ? slash + 1 : file;
}

// Control characters would break the one-record-per-line form and upset terminals.
void appendEscaped(std::string& out, const char* begin, const char* end) {
    for (const char* p = begin; p != end; ++p) {
        const auto c = static_cast<unsigned char>(*p);
        if ((c < 0x20 && c != '\t') || c == 0x7F) {
            char escape[5];
            std::snprintf(escape, sizeof escape, "\\x%02x", c);
            out += escape;
        } else {
            out += static_cast<char>(c);
        }
    }
}

void writeAll(int fd, const std::string& line) {
    const char* data = line.data();
    std::size_t left = line.size();
    while (left > 0) {
        const ssize_t written = ::write(fd, data, left);
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return;  // nowhere left to report it
        }
        data += written;
        left -= static_cast<std::size_t>(written);
    }
}

}  // namespace

TraceOutput::~TraceOutput() {
    if (m_fd != 2) {
        ::close(m_fd);
    }
}

std::string TraceOutput::lineHead(const char* object, unsigned level, const char* file,
                                  unsigned line) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm utc{};
    gmtime_r(&now.tv_sec, &utc);
    char time[40];
    std::strftime(time, sizeof time, "%Y-%m-%dT%H:%M:%S", &utc);

    char process[64] = "-";
    const PROCESS pid = ose_current_process_or_zero();
    if (pid != 0 && ose_process_name(pid, process, sizeof process) == 0) {
        std::snprintf(process, sizeof process, "0x%x", pid);
    }

    char head[256];
    std::snprintf(head, sizeof head, "%s.%06ldZ %s %s L%u %s:%u: ", time, now.tv_nsec / 1000,
                  process, object, level, baseName(file), line);
    return head;
}

void TraceOutput::appendTextLines(const std::string& head, const char* text,
                                  std::vector<std::string>& lines) {
    const char* start = text;
    const std::size_t before = lines.size();
    for (;;) {
        const char* end = std::strchr(start, '\n');
        const char* stop = end != nullptr ? end : start + std::strlen(start);
        if (stop != start) {
            std::string out = head;
            appendEscaped(out, start, stop);
            lines.push_back(std::move(out));
        }
        if (end == nullptr) {
            break;
        }
        start = end + 1;
    }
    if (lines.size() == before) {
        lines.push_back(head);  // an empty text still shows that the call was made
    }
}

void TraceOutput::writeText(const char* object, unsigned level, const char* file, unsigned line,
                            const char* text) {
    std::vector<std::string> lines;
    appendTextLines(lineHead(object, level, file, line), text, lines);
    emit(lines);
}

void TraceOutput::writeData(const char* object, unsigned level, const char* file, unsigned line,
                            const char* heading, const uint8_t* data, std::size_t length) {
    const std::string head = lineHead(object, level, file, line);
    std::vector<std::string> lines;
    appendTextLines(head, heading, lines);
    static const char kHex[] = "0123456789abcdef";
    for (std::size_t offset = 0; offset < length; offset += 16) {
        std::string out = head;
        char position[24];
        std::snprintf(position, sizeof position, "%04zx:", offset);
        out += position;
        std::string ascii;
        for (std::size_t i = offset; i < offset + 16; ++i) {
            if (i < length) {
                out += ' ';
                out += kHex[data[i] >> 4];
                out += kHex[data[i] & 0xF];
                ascii += (data[i] >= 0x20 && data[i] < 0x7F) ? static_cast<char>(data[i]) : '.';
            } else {
                out += "   ";
            }
        }
        out += "  ";
        out += ascii;
        lines.push_back(std::move(out));
    }
    emit(lines);
}

void TraceOutput::emit(const std::vector<std::string>& lines) {
    std::lock_guard<std::mutex> lock(m_lock);
    for (const std::string& line : lines) {
        if (m_sink) {
            m_sink(line);
        } else {
            writeAll(m_fd, line + '\n');
        }
    }
}

void TraceOutput::setSink(std::function<void(const std::string&)> sink) {
    std::lock_guard<std::mutex> lock(m_lock);
    m_sink = std::move(sink);
}

bool TraceOutput::setFile(const std::string& path) {
    int fd = 2;
    if (!path.empty()) {
        fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
        if (fd < 0) {
            const std::string warning = "ulsa trace: cannot open ULSA_TRACE_FILE '" + path +
                                        "': " + std::strerror(errno) + ", output unchanged\n";
            writeAll(2, warning);
            return false;
        }
    }
    std::lock_guard<std::mutex> lock(m_lock);
    if (m_fd != 2) {
        ::close(m_fd);
    }
    m_fd = fd;
    return true;
}
