// NodeBoot: a whole node in this Linux process, for ulsa-node, the tests, the tools and
// the benchmarks.
//
// startNode starts, in order: the trace service and its control process, the name
// server "ose_ns", the database agent, the database "Vq_rtrdb_supervisor", the
// transaction server "TarvoTransaction", and then loads the load module: its
// configuration block into the block's environment and its entry process, which
// creates, binds and starts the static processes. stopNode ends it all.
//
// A test gives its own manager factory: the main process then runs the load module's
// application with that factory swapped in, so that it registers the test's fRO
// classes instead of the analyzer's.
#ifndef NODE_BOOT_H
#define NODE_BOOT_H

#include "ULSpectrumAnalyzerApplication.h"
#include "ose.h"

#include <string>

namespace ulsanode {

/// The kernel's mark (ose_set_mark) of the load module's processes: the entry process
/// and every process created from it. What their threads allocate is the load module's
/// heap (host/heap counts it).
constexpr uint32_t kLoadModuleMark = 1;

struct NodeBootOptions {
    /// The node's state folder: the SQLite database and the node's files.
    std::string stateDir = ".state/node";
    /// An ODBC connection string; empty: the SQLite file "rtrdb.sqlite" in stateDir.
    std::string dbConnect;
    /// The manager factory of the load module's application; empty keeps its own.
    /// startNode copies it into the main process, where the copy ends with the
    /// application; a caller whose factory owns the manager drops its own copy after
    /// startNode, so that the manager ends there too, while the kernel still stands.
    ULSpectrumAnalyzerApplication::ManagerFactory managerFactory;
};

/// What a started node is.
struct BootedNode {
    PROCESS entry = 0;     // the load module's entry process
    std::string database;  // the connection string the services use
};

/// Starts the services and loads the load module; false with a one-line reason when
/// the database configuration cannot be prepared or the configuration block is
/// unreadable (then nothing is left running). Call from a thread that is no kernel
/// process.
bool startNode(const NodeBootOptions& options, BootedNode& node, std::string& problem);

/// Restarts the transaction server "TarvoTransaction" of the running node as the
/// platform restarts a server that crashed: the process is killed wherever it is, so
/// its open transactions end with it (one whose commit it was applying has an unknown
/// outcome, stored or not), its clients hear of its end through their attach, and a
/// new server with the same configuration starts under the same name. The new
/// server's process, or 0 when no node runs or the old server did not end. Call from
/// a thread that is no kernel process.
PROCESS restartTransactionServer();

/// Ends the load module as its loader does (signal 252 to the entry process, which
/// kills the static processes), waits for them to unwind, then ends every process of
/// the kernel (ose_shutdown). Call from a thread that is no kernel process, after the
/// client threads have left. The manager factory, and what it owns, ends on the main
/// process as the application unwinds.
///
/// startNode may be called again after stopNode, but that is no restart of the node:
/// the load module's process-wide state (froMgr, transMgr, the platform proxies' found
/// servers) outlives the kernel's shutdown, and the proxies then send to processes of
/// the old kernel. A restart is a new Linux process: ulsa-node started again, or a
/// test that boots each node in a child process.
void stopNode();

}  // namespace ulsanode

#endif  // NODE_BOOT_H
