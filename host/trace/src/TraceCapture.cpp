#include "TraceCapture.h"

#include <cstdlib>

bool TraceLine::parse(const std::string& raw, TraceLine& out) {
    std::string fields[5];
    std::size_t pos = 0;
    for (std::string& field : fields) {
        const std::size_t space = raw.find(' ', pos);
        if (space == std::string::npos) {
            return false;
        }
        field = raw.substr(pos, space - pos);
        pos = space + 1;
    }
    const std::string& level = fields[3];
    const std::string& where = fields[4];  // "file:line:"
    const std::size_t colon = where.rfind(':', where.size() - 2);
    if (level.size() < 2 || level[0] != 'L' || where.size() < 4 || where.back() != ':' ||
        colon == std::string::npos) {
        return false;
    }
    out.time = fields[0];
    out.process = fields[1];
    out.object = fields[2];
    out.level = static_cast<unsigned>(std::strtoul(level.c_str() + 1, nullptr, 10));
    out.file = where.substr(0, colon);
    out.line = static_cast<unsigned>(std::strtoul(where.c_str() + colon + 1, nullptr, 10));
    out.text = raw.substr(pos);
    return true;
}

TraceCapture::TraceCapture() {
    traceSetSink([this](const std::string& line) {
        std::lock_guard<std::mutex> lock(m_lock);
        m_lines.push_back(line);
    });
}

TraceCapture::~TraceCapture() {
    traceSetSink(nullptr);
}

std::vector<std::string> TraceCapture::lines() const {
    std::lock_guard<std::mutex> lock(m_lock);
    return m_lines;
}

std::vector<TraceLine> TraceCapture::parsed() const {
    std::vector<TraceLine> result;
    for (const std::string& raw : lines()) {
        TraceLine line;
        if (TraceLine::parse(raw, line)) {
            result.push_back(line);
        }
    }
    return result;
}

std::vector<std::string> TraceCapture::texts(const std::string& object) const {
    std::vector<std::string> result;
    for (const TraceLine& line : parsed()) {
        if (line.object == object) {
            result.push_back(line.text);
        }
    }
    return result;
}

bool TraceCapture::contains(const std::string& fragment) const {
    for (const std::string& line : lines()) {
        if (line.find(fragment) != std::string::npos) {
            return true;
        }
    }
    return false;
}

void TraceCapture::clear() {
    std::lock_guard<std::mutex> lock(m_lock);
    m_lines.clear();
}
