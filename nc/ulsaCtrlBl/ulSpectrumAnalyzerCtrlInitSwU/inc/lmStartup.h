// The start-up code of the load module's entry process, and on the host the loader's
// part that creates that process.
//
// In order: the static processes are created stopped; the trace groups are
// registered, with the binding of the database interface after "OSA_PRI_IF" (it holds
// up everything behind it until the agent answers, at most thirty minutes); the
// processes are started; then the entry process receives for the life of the module:
// signal 252 ends the module, any other signal is reported as the error -2 and freed.
#ifndef LM_STARTUP_H
#define LM_STARTUP_H

#include "lmProcessTable.h"
#include "ose.h"

/// The fatal error of a table with another version, or of a second start.
inline constexpr uint32_t kLmFatalProcessTable = 0x80000105;
/// The error reported for a signal the entry process does not expect.
inline constexpr uint32_t kLmUnexpectedSignal = static_cast<uint32_t>(-2);
/// The signal that ends the module.
inline constexpr SIGSELECT kLmEndSignal = 252;

/// Checks the version word (then clears it) and the started flag (then sets it), and
/// creates the table's processes without starting them. Either check failing is a
/// fatal error: reported with kLmFatalProcessTable, nothing created, false.
bool lmCreateStaticProcesses(LmProcessTable& table, bool& started);

/// Registers the trace groups in their order and binds the database interface after
/// "OSA_PRI_IF", waiting at most agentWaitMs for the agent; ends with the start-up
/// banner. False when the agent did not answer (the rest is registered all the same).
bool lmRegisterTraceGroups(OSTIME agentWaitMs);

/// Starts the processes that the table has created.
void lmStartStaticProcesses(const LmProcessTable& table);

/// Receives until signal 252, which kills the table's processes and returns; every
/// other signal is reported as the error -2 and freed.
void lmReceiveLoop(const LmProcessTable& table);

/// The whole start-up code on a table; returns when the module ends or could not start.
void lmRunStartup(LmProcessTable& table, bool& started, OSTIME agentWaitMs);

/// The entry process: lmRunStartup on the module's table, waiting thirty minutes for
/// the agent.
OS_PROCESS(ulsaLmEntry);

/// The loader's part on the host: loads the configuration block into the block's
/// environment, then creates and starts the entry process under OSE_LM_MAIN_NAME
/// (priority 28, stack 4064). Returns its identity, 0 when the block is unreadable.
PROCESS ulsaLmLoad();

#endif  // LM_STARTUP_H
