// NodeLink: what a tool needs to reach a running node over a link.
//
// A tool has a kernel of its own and links to the node's listening end point (the
// socket "link" in the node's state folder). The management client of host/mgmt finds
// the node's services as a process of the node's own kernel would: it hunts "ose_ns"
// and "TarvoTransaction" and takes the service's provider from the name server's
// answer. Across a link those names are "node/ose_ns" and so on, and a process id in a
// signal's bytes means nothing on this side. So the tool's kernel gets stand-ins:
//
//   "ose_ns"            relays to "node/ose_ns"; the provider in
//                       NS_SUBSCRIBE_SERVICE_ADDED_PID becomes the service stand-in
//   "TarvoTransaction"  relays to "node/TarvoTransaction"
//   "ulsa_mgmt_service" relays to "node/ulSpectrumAnalyzer_main_thread", the process
//                       that publishes the management service
//
// A stand-in sends on everything its client sends, and hands the client everything
// the node's process sends; it ends when that process ends or the link is lost, so
// the client's attach to it fires just as for the node's process itself.
#ifndef ULSA_TOOLS_NODE_LINK_H
#define ULSA_TOOLS_NODE_LINK_H

#include "LinkEndpoint.h"
#include "ose.h"

#include <string>

namespace ulsatools {

/// The name this side gives the link to the node: hunts for "node/...".
constexpr const char* kNodeLinkName = "node";

/// The node's link socket in its state folder.
std::string nodeLinkPath(const std::string& stateDir);

/// Links this program's kernel to the node listening at linkPath, with a heartbeat
/// that loses a silent node within about two seconds. An empty string when the link
/// is up, else a sentence for a person.
std::string linkToNode(hostlink::LinkEndpoint& links, const std::string& linkPath,
                       const std::string& nameAtNode);

/// Starts the stand-ins above in this program's kernel. Call once, after linkToNode.
void startNodeStandIns();

/// A relay process: forwards what its client sends to `target` and what `target`
/// sends to the client (the last process that sent it anything other than target).
/// It waits at most findTimeoutMs for target, and ends when target ends.
struct RelaySetup {
    std::string name;    // the relay's own process name
    std::string target;  // the process it stands for, e.g. "node/TarvoTransaction"
    OSTIME findTimeoutMs = OS_WAIT_FOREVER;
    /// Called on every signal from target before it goes to the client.
    void (*rewrite)(union SIGNAL* signal, OSBUFSIZE size) = nullptr;
};

/// Creates and starts a relay; its pid.
PROCESS startRelay(const RelaySetup& setup);

}  // namespace ulsatools

#endif  // ULSA_TOOLS_NODE_LINK_H
