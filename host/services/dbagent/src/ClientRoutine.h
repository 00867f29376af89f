// The client routine that the last call table request named (its +4 address): the
// agent reports through it that the table is handed over, and the table's SQLConnect
// reports each connect made. 0 in the request: nothing is called.
#ifndef HOSTDB_CLIENT_ROUTINE_H
#define HOSTDB_CLIENT_ROUTINE_H

#include <cstdint>

namespace hostdb {

/// Keeps the routine's address from a request; 0 forgets it.
void setClientRoutine(std::uintptr_t address);
/// Calls the routine with the ready note, if there is one.
void notifyClientReady();
/// Calls the routine with a log line of that severity (m, s, c are 0), if there is one.
void notifyClientLogLine(int32_t severity, const char* text);

}  // namespace hostdb

#endif  // HOSTDB_CLIENT_ROUTINE_H
