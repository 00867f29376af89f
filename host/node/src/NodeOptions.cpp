#include "NodeOptions.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

bool parseNodeOptions(int argc, char** argv, NodeOptions& options, std::string& problem) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "-h" || arg == "--help") {
            options.help = true;
        } else if (arg == "--seconds" && hasValue) {
            char* end = nullptr;
            errno = 0;
            const unsigned long value = std::strtoul(argv[++i], &end, 10);
            if (errno != 0 || end == argv[i] || *end != '\0' || value > 86400UL * 365) {
                problem = "--seconds takes a whole number of seconds";
                return false;
            }
            options.seconds = static_cast<unsigned>(value);
        } else if (arg == "--state" && hasValue) {
            options.stateDir = argv[++i];
        } else if (arg == "--db" && hasValue) {
            options.dbConnect = argv[++i];
        } else if (arg == "--link" && hasValue) {
            options.linkPath = argv[++i];
        } else if (arg == "--network-dn" && hasValue) {
            options.networkDn = argv[++i];
        } else {
            problem = "unknown or incomplete argument: " + arg;
            return false;
        }
    }
    return true;
}

const char* nodeUsage() {
    return "usage: ulsa-node [--seconds N] [--state DIR] [--db CONNECT] [--link PATH]\n"
           "                 [--network-dn DN]\n"
           "  --seconds N  run N seconds, then stop (default: until Ctrl-C)\n"
           "  --state DIR  the node's state folder (default .state/node)\n"
           "  --db CONNECT an ODBC connection string for the node's database\n"
           "               (default: SQLite file rtrdb.sqlite in the state folder)\n"
           "  --link PATH  the Unix socket where ulsactl and ulsa-radio link to the node\n"
           "               (default: link in the state folder)\n"
           "  --network-dn DN  the node's name in its network, before its own LDNs\n"
           "               (default SubNetwork=1,MeContext=node1)\n"
           "The node's disk \"/d\" is the folder d in the state folder.\n"
           "signals: SIGINT, SIGTERM stop the node; SIGUSR1 restarts its transaction server\n"
           "  TarvoTransaction as after a crash: open transactions end, clients attach anew\n"
           "environment: ULSA_TRACE (masks, e.g. 'ulsa*=0-16,Ft_*=13'), ULSA_TRACE_FILE\n";
}
