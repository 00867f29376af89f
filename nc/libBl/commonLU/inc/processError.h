// processError.h: errors of the node-control library that do not stop the process.
//
// The library's process-level errors (a protocol revision that does not match, a
// signal name that contradicts the table) are reports: the caller traces the text
// at level 1 and hands it here, where it is traced at level 0, the level an
// operator always sees, and counted. The process goes on.
#ifndef PROCESS_ERROR_H
#define PROCESS_ERROR_H

#include "traceAndError.h"

#include <cstdint>
#include <string>

namespace nc {

/// Reports text as a process-level error on trace (level 0) and counts it.
void reportProcessError(const TraceObject* trace, const std::string& text);

/// Process-level errors reported so far in this Linux process.
uint32_t processErrorCount();

/// The last text the calling thread reported; empty when it reported none.
std::string lastProcessError();

}  // namespace nc

#endif  // PROCESS_ERROR_H
