// TraceHandle and the calls behind the TRACE macros.
#include "dynTrace.h"

#include "DynTraceHandler.h"

#include <cstdarg>
#include <cstdio>

TraceHandle::TraceHandle(const char* group)
    : m_ref(DynTraceHandler::registerTraceObject(
          DynTraceHandler::traceObjectName(group != nullptr ? group : ""))) {}

TraceHandle::~TraceHandle() {
    DynTraceHandler::deregisterTraceObject(m_ref);
}

std::string traceFormat(const char* format, ...) {
    if (format == nullptr) {
        return std::string();
    }
    char small[256];
    va_list args;
    va_start(args, format);
    const int needed = std::vsnprintf(small, sizeof small, format, args);
    va_end(args);
    if (needed < 0) {
        return std::string();
    }
    if (static_cast<std::size_t>(needed) < sizeof small) {
        return std::string(small, static_cast<std::size_t>(needed));
    }
    std::string text(static_cast<std::size_t>(needed), '\0');
    va_start(args, format);
    std::vsnprintf(&text[0], text.size() + 1, format, args);
    va_end(args);
    return text;
}

namespace {

// A null object is the dummy object, as the service hands it out.
TraceObject* resolve(const TraceObject* object) {
    TraceRef reference{const_cast<TraceObject*>(object)};
    if (object == nullptr) {
        TraceCall call{};
        call.ref = &reference;
        traceAndErrorInit(TRACE_OP_GET_REF, &call);
    }
    return traceRefGet(reference);
}

void writePiece(TraceObject* object, unsigned level, const char* file, unsigned line,
                const char* text) {
    TraceRef reference{object};
    TraceCall call{};
    call.ref = &reference;
    call.level = level;
    call.file = file;
    call.line = line;
    call.text = text;
    traceAndErrorInit(TRACE_OP_WRITE, &call);
}

}  // namespace

void traceText(const TraceObject* object, unsigned level, const char* file, unsigned line,
               const std::string& text) {
    TraceObject* reference = resolve(object);
    if (reference == nullptr) {
        return;
    }
    if (text.size() <= kTraceMaxPiece) {
        writePiece(reference, level, file, line, text.c_str());
        return;
    }
    writePiece(reference, level, file, line, "BEGIN long trace");
    for (std::size_t offset = 0; offset < text.size(); offset += kTraceMaxPiece) {
        writePiece(reference, level, file, line, text.substr(offset, kTraceMaxPiece).c_str());
    }
    writePiece(reference, level, file, line, "END long trace");
}

void traceData(const TraceObject* object, unsigned level, const char* file, unsigned line,
               const std::string& heading, const void* data, std::size_t length) {
    TraceRef reference{resolve(object)};
    if (traceRefGet(reference) == nullptr) {
        return;
    }
    TraceCall call{};
    call.ref = &reference;
    call.level = level;
    call.file = file;
    call.line = line;
    call.text = heading.c_str();
    call.data = data;
    call.length = static_cast<uint16_t>(length);  // the service takes 16 bits of it
    traceAndErrorInit(TRACE_OP_DATA, &call);
}
