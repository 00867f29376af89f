// The client routine that the database agent step hands to the platform's database
// agent (its address goes in the 0x1078D request, see tarvo_dbagent.h). The agent,
// or the database interface behind it, calls it with one of three kinds of notes:
//
//   kind kTarvoPolyErrorEvent: an error event of the database interface; code is the
//       error number (1..7 known), the other arguments are not read. Traced at level 1
//       in TARVO_DBI_IF as "Database error: %s (%d)" with the error's text; a code
//       outside 1..7 gives the text "Unknown error".
//   kind kTarvoPolyLogLine: one of the interface's own log lines; code is its severity,
//       text the line, m, s and c three numbers of the interface. Traced as
//       "%s, m:%d s:%d c:%d": severity 1 and 2 at level kTarvoPolyDetailLevel of
//       TARVO_DBI_IF (2 also flushes the C streams), 3 at level 4 of the common object,
//       4 and 5 (and any other) at level 1 of the common object.
//   kind kTarvoPolyReady: the interface's server is ready; traced "poly_server_ready"
//       at level 4 in TARVO_DBI_IF. The other arguments are not read.
//
// A null text is traced as an empty one; an unknown kind is traced at level 1 in
// TARVO_DBI_IF and otherwise ignored. The routine may be called from any thread.
#ifndef TARVO_POLY_HANDLER_H
#define TARVO_POLY_HANDLER_H

#include <cstdint>

inline constexpr uint32_t kTarvoPolyErrorEvent = 1;
inline constexpr uint32_t kTarvoPolyLogLine = 2;
inline constexpr uint32_t kTarvoPolyReady = 3;

/// The interface's finest log lines go to the highest bit a trace mask has: bit 31 of
/// the 32-bit mask stands for the interface's "bit 32" (numbered from 1).
inline constexpr unsigned kTarvoPolyDetailLevel = 31;

/// The routine's type, as the agent calls it through the address in the request.
using TarvoPolyHandlerFn = void (*)(uint32_t kind, int32_t code, const char* text, int32_t m,
                                    int32_t s, int32_t c);

void tarvo_poly_handler(uint32_t kind, int32_t code, const char* text, int32_t m, int32_t s,
                        int32_t c);

#endif  // TARVO_POLY_HANDLER_H
