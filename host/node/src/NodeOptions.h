// The command line of ulsa-node.
#ifndef NODE_OPTIONS_H
#define NODE_OPTIONS_H

#include <string>

struct NodeOptions {
    bool help = false;
    unsigned seconds = 0;              // 0: run until SIGINT or SIGTERM
    std::string stateDir = ".state/node";  // the node's database and files
    std::string dbConnect;                 // an ODBC connection string; empty: SQLite in stateDir
    std::string linkPath;                  // where other programs link; empty: stateDir + "/link"
    std::string networkDn = "SubNetwork=1,MeContext=node1";  // the node's name in its network
};

/// Reads the arguments; false with a one-line reason for anything it does not know.
bool parseNodeOptions(int argc, char** argv, NodeOptions& options, std::string& problem);

/// The usage text.
const char* nodeUsage();

#endif  // NODE_OPTIONS_H
