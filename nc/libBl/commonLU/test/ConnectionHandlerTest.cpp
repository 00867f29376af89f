#include "ConnectionHandler.h"

#include "KernelFixture.h"

#include <cstring>
#include <initializer_list>

namespace {

constexpr SIGSELECT kEstablishReq = 0x1234;
constexpr char kObject[] = "ncConnectionHandler";

// A KGM_IW_..._CONN_ESTABLISH_REQ: procedureRef, connectionRef, count, revisions.
union SIGNAL* establishReq(uint32_t procedureRef, uint32_t connectionRef,
                           std::initializer_list<uint32_t> revisions, uint32_t count,
                           const std::string& serverName = std::string(), uint32_t nameLength = 0) {
    const bool withName = !serverName.empty() || nameLength != 0;
    const OSBUFSIZE size =
        static_cast<OSBUFSIZE>(16 + 4 * revisions.size() + (withName ? 4 + serverName.size() : 0));
    union SIGNAL* sig = alloc(size, kEstablishReq);
    unsigned char* raw = reinterpret_cast<unsigned char*>(sig);
    std::memcpy(raw + 4, &procedureRef, 4);
    std::memcpy(raw + 8, &connectionRef, 4);
    std::memcpy(raw + 12, &count, 4);
    std::size_t offset = 16;
    for (const uint32_t revision : revisions) {
        std::memcpy(raw + offset, &revision, 4);
        offset += 4;
    }
    if (withName) {
        std::memcpy(raw + offset, &nameLength, 4);
        std::memcpy(raw + offset + 4, serverName.data(), serverName.size());
    }
    return sig;
}

union SIGNAL* establishReq(uint32_t procedureRef, uint32_t connectionRef,
                           std::initializer_list<uint32_t> revisions) {
    return establishReq(procedureRef, connectionRef, revisions,
                        static_cast<uint32_t>(revisions.size()));
}

// A confirm's message header: procedureRef (the client's reference), connectionRef.
union SIGNAL* connCfmSignal(SIGSELECT number, uint32_t procedureRef, uint32_t connectionRef) {
    union SIGNAL* sig = alloc(16, number);
    unsigned char* raw = reinterpret_cast<unsigned char*>(sig);
    std::memcpy(raw + 4, &procedureRef, 4);
    std::memcpy(raw + 8, &connectionRef, 4);
    return sig;
}

// Runs an establish request through the handler and frees it.
int establish(ConnectionHandler& handler, union SIGNAL* sig, PROCESS client, uint32_t localRef) {
    const int result = handler.connEstablish(sig, client, localRef);
    free_buf(&sig);
    return result;
}

class ConnectionHandlerTest : public KernelFixture {};

}  // namespace

TEST_F(ConnectionHandlerTest, theClientsOrderOfPreferenceSelectsTheRevision) {
    ConnectionHandler server("RMCI", {1, 2});
    EXPECT_EQ(establish(server, establishReq(7, 100, {3, 2, 1}), 0x10001, 1), 0);
    EXPECT_EQ(server.getProtocolRev(1), 2u);

    ConnectionHandler other("RMCI", {3, 2});
    EXPECT_EQ(establish(other, establishReq(7, 100, {2, 3}), 0x10001, 1), 0);
    EXPECT_EQ(other.getProtocolRev(1), 2u);

    EXPECT_EQ(other.getProtocolRev(99), 0u);
    EXPECT_EQ(newProcessErrors(), 0u);
}

TEST_F(ConnectionHandlerTest, badRemoteListsFailWithoutAConnection) {
    ConnectionHandler server("RMCI", {1, 2});

    // A 0 fails the list even though 2 would match.
    EXPECT_EQ(establish(server, establishReq(7, 100, {2, 0}), 0x10001, 1), 1);
    EXPECT_TRUE(traced(kObject,
                       "RMCI : The remote protocol revision with index 1 is equal to 0, these are "
                       "the given protocol revisions: 2,0"));
    EXPECT_EQ(establish(server, establishReq(7, 100, {0, 2}), 0x10001, 1), 1);
    EXPECT_EQ(establish(server, establishReq(7, 100, {}), 0x10001, 1), 1);
    EXPECT_TRUE(traced(kObject, "RMCI : 0 remote protocol revisions were provided"));
    EXPECT_FALSE(server.connectionExists(1));
    EXPECT_EQ(newProcessErrors(), 0u);

    // No revision in common: a process-level error, and the process goes on.
    EXPECT_EQ(establish(server, establishReq(7, 100, {5, 6}), 0x10001, 1), 1);
    EXPECT_EQ(newProcessErrors(), 1u);
    EXPECT_EQ(nc::lastProcessError(),
              "RMCI : No matching protocol revision between remote and local, the local protocol "
              "revisions are: 1,2 and the remote protocol revisions are: 5,6");

    // A count that the signal cannot hold is refused before anything is read.
    EXPECT_EQ(establish(server, establishReq(7, 100, {1}, 100000), 0x10001, 1), 1);
    EXPECT_TRUE(
        traced(kObject, "KGM_IW_RMCI_CONN_ESTABLISH_REQ, sizeOfProtocolVersions(100000) wrong!"));
    EXPECT_EQ(establish(server, establishReq(7, 100, {1}, 0xFFFFFFFFu), 0x10001, 1), 1);
    EXPECT_EQ(server.connEstablish(nullptr, 0x10001, 1), 1);
    EXPECT_FALSE(server.connectionExists(1));

    // A handler without local revisions matches nothing.
    ConnectionHandler empty;
    EXPECT_EQ(establish(empty, establishReq(7, 100, {1}), 0x10001, 1), 1);
    EXPECT_EQ(nc::lastProcessError().rfind("Interface : No matching protocol revision", 0), 0u);
}

TEST_F(ConnectionHandlerTest, establishRecordsTheConnectionClientAndProcedureRef) {
    ConnectionHandler server(11, 22, "RFTI", {1});
    EXPECT_EQ(server.getServiceRef(), 11u);
    EXPECT_EQ(server.getUserData(), 22u);

    EXPECT_EQ(establish(server, establishReq(0xAA, 500, {1}), 0x10001, 3), 0);
    EXPECT_TRUE(server.connectionExists(3));
    EXPECT_EQ(server.getRemoteConnectionRef(3), 500u);
    EXPECT_EQ(server.getPidByConnectionRef(3), 0x10001u);
    EXPECT_TRUE(server.firstTimeClientConnects(0x10001));
    // The request's procedureRef is kept under the request's number, to be echoed.
    EXPECT_EQ(server.getProcedureRef(3, {kEstablishReq}), 0xAAu);
    EXPECT_EQ(server.connectionToString(3),
              "Connection: m_protocolRev=1, m_remoteConnectionRef=500, m_remotePid=65537, "
              "localConnectionRef=3");
    EXPECT_EQ(server.connectionToString(4), "Could not find connection for localConnectioRef=4");

    // The same local reference again: the table keeps the first connection, but the
    // client, its association and the new procedureRef are recorded.
    EXPECT_EQ(establish(server, establishReq(0xBB, 600, {1}), 0x10002, 3), 0);
    EXPECT_TRUE(traced(kObject,
                       "RFTI : localConnectionRef 3 is already used, no new connection created, "
                       "remoteConnectonRef, pid, and protocolVersion not saved!"));
    EXPECT_EQ(server.getRemoteConnectionRef(3), 500u);
    EXPECT_EQ(server.getProcedureRef(3, {kEstablishReq}), 0xBBu);
    EXPECT_EQ(server.getConnectionRefsByPid(0x10002), std::vector<uint32_t>{3});

    // A known client connecting again is no longer a first-timer.
    EXPECT_EQ(establish(server, establishReq(0xCC, 700, {1}), 0x10001, 4), 0);
    EXPECT_FALSE(server.firstTimeClientConnects(0x10001));
    EXPECT_EQ(server.getConnectionRefsByPid(0x10001), (std::vector<uint32_t>{3, 4}));

    EXPECT_EQ(server.getRemoteConnectionRef(9), ConnectionHandler::invalidRef);
    EXPECT_TRUE(traced(kObject, "RFTI : No valid connection found for localConnectionRef == 9"));
}

TEST_F(ConnectionHandlerTest, associationsAreSetsAndTheLastOneForgetsTheClient) {
    ConnectionHandler server("RMCI", {1});
    EXPECT_EQ(establish(server, establishReq(1, 100, {1}), 0x10001, 1), 0);

    server.createAssociation(1, 0x10001);  // exists already
    EXPECT_TRUE(
        traced(kObject, "RMCI : Client association exist connectioRef=1 for clientPid=10001"));
    EXPECT_EQ(server.getConnectionRefsByPid(0x10001), std::vector<uint32_t>{1});

    server.createAssociation(2, 0x10001);
    EXPECT_TRUE(traced(kObject, "RMCI : Create association connectioRef=2 for clientPid=10001"));
    server.removeAssociation(1);
    EXPECT_TRUE(traced(kObject, "RMCI : Remove association connectioRef=1 for clientPid=10001"));
    // One association is left: the client is still known, as a first-timer.
    m_capture->clear();
    EXPECT_TRUE(server.firstTimeClientConnects(0x10001));
    EXPECT_TRUE(m_capture->texts(kObject).empty());
    EXPECT_EQ(server.getPidByConnectionRef(1), 0u);
    EXPECT_TRUE(traced(kObject,
                       "RMCI : getPidByConnectionRef: cannot find client pid with this "
                       "connectionRef=1"));

    server.removeAssociation(2);
    EXPECT_FALSE(server.firstTimeClientConnects(0x10001));
    EXPECT_TRUE(
        traced(kObject, "RMCI : firstTimeClientConnects: cannot find client with pid=65537 "));
    // Forgotten: the next connection of that pid is a first-time one again.
    EXPECT_EQ(establish(server, establishReq(1, 101, {1}), 0x10001, 5), 0);
    EXPECT_TRUE(server.firstTimeClientConnects(0x10001));

    server.createAssociation(6, 0x10001);
    server.createAssociation(6, 0x10002);
    server.removeClient(0x10001);
    EXPECT_TRUE(server.getConnectionRefsByPid(0x10001).empty());
    EXPECT_FALSE(server.firstTimeClientConnects(0x10001));
    EXPECT_EQ(server.getPidByConnectionRef(6), 0x10002u);
}

TEST_F(ConnectionHandlerTest, procedureRefsAreStoredUnderPathsOfKeys) {
    ConnectionHandler server("RMCI", {1});
    EXPECT_EQ(establish(server, establishReq(1, 100, {1}), 0x10001, 1), 0);

    server.saveProcedureRef(1, {10, 20, 30}, 111);
    server.saveProcedureRef(1, {10, 20, 31}, 222);
    server.saveProcedureRef(1, {10, 20, 30}, 333);  // overwrites 111
    EXPECT_EQ(server.getProcedureRef(1, {10, 20, 30}), 333u);
    EXPECT_EQ(server.getProcedureRef(1, {10, 20, 31}), 222u);

    EXPECT_EQ(server.getProcedureRef(1, {10, 21, 30}), ConnectionHandler::invalidRef);
    EXPECT_TRUE(traced(kObject,
                       "RMCI : Unexisting key when searching for procedure reference for "
                       "connectionRef: 1 component: 1 key: 21, sending a response without having "
                       "received the coresponding request?"));
    EXPECT_TRUE(traced(kObject, "RMCI : for procedureRefIdentifiers[2]: 30"));

    EXPECT_EQ(server.getProcedureRef(2, {10}), ConnectionHandler::invalidRef);
    EXPECT_TRUE(traced(kObject,
                       "RMCI : Invalid connection when searching for procedure reference, "
                       "connectionRef: 2, sending a response without an existing connection?"));
    server.saveProcedureRef(2, {0x55}, 9);
    EXPECT_TRUE(traced(kObject,
                       "RMCI : Received a signal (55) with an invalid connection connectionRef: 2, "
                       "can't save procedureRef: 9"));

    // An inner node holds no value.
    EXPECT_EQ(server.getProcedureRef(1, {10, 20}), 0u);
    EXPECT_TRUE(traced(kObject, "Invalid call to Component::getValue();"));
    server.saveProcedureRef(1, {10, 20}, 5);
    EXPECT_TRUE(traced(kObject, "Invalid call to Component::setValue(5);"));
    EXPECT_EQ(server.getProcedureRef(1, {10, 20, 30}), 333u);

    // A path cannot pass through a stored reference; the stored one survives.
    server.saveProcedureRef(1, {40}, 4);
    server.saveProcedureRef(1, {40, 41}, 5);
    server.saveProcedureRef(1, {40, 41, 42}, 6);
    EXPECT_EQ(server.getProcedureRef(1, {40}), 4u);
    EXPECT_EQ(server.getProcedureRef(1, {40, 41}), ConnectionHandler::invalidRef);
    server.saveProcedureRef(1, {}, 7);
    EXPECT_EQ(newProcessErrors(), 0u);
}

TEST_F(ConnectionHandlerTest, reconnectKeepsAKnownConnectionAndItsRevision) {
    ConnectionHandler server("RMCI", {1, 2});
    EXPECT_EQ(establish(server, establishReq(1, 100, {1}), 0x10001, 1), 0);
    ASSERT_EQ(server.getProtocolRev(1), 1u);

    // Same peer, same local reference: kept, and the revision stays 1 although 2 is chosen now.
    EXPECT_EQ(server.reconnect({2, 1}, 1, 100, 0x10001), 0);
    EXPECT_EQ(server.getProtocolRev(1), 1u);
    EXPECT_TRUE(
        traced(kObject, "RMCI : Reconnecting localConnectionRef 1 to remoteConnectionRef 100"));
    EXPECT_TRUE(traced(kObject, "But the protocol revision does not match, Who cares!"));
    EXPECT_TRUE(traced(kObject, "RMCI : Requested protocol revisions:2,1, Best match 2"));
    EXPECT_TRUE(traced(kObject, "RMCI : Supported protocol revisions:1,2 Selected 1"));

    // Same peer under another local reference: a second entry is made.
    EXPECT_EQ(server.reconnect({2}, 8, 100, 0x10001), 0);
    EXPECT_TRUE(traced(kObject,
                       "RMCI : Trying to reconnecting localConnectionRef 8 to remoteConnectionRef "
                       "100:pid 65537,but entry already exists with old localConnectionRef 1"));
    EXPECT_EQ(server.getProtocolRev(8), 2u);
    EXPECT_EQ(server.getPidByConnectionRef(8), 0x10001u);

    // A new peer on a reference in use: a process-level error, the table unchanged.
    EXPECT_EQ(server.reconnect({1}, 1, 999, 0x10003), 0);
    EXPECT_EQ(newProcessErrors(), 1u);
    EXPECT_EQ(nc::lastProcessError(),
              "RMCI : localConnectionRef 1 is already used, no new connection created, "
              "remoteConnectonRef, pid, and protocolVersion not saved!");
    EXPECT_EQ(server.getRemoteConnectionRef(1), 100u);

    EXPECT_EQ(server.reconnect({1, 0}, 9, 5, 0x10004), 1);
    EXPECT_EQ(server.reconnect({7}, 9, 5, 0x10004), 1);
    EXPECT_FALSE(server.connectionExists(9));
}

TEST_F(ConnectionHandlerTest, clientSideTakesItsReferenceFromTheConfirm) {
    ConnectionHandler client("RFTI");
    uint32_t localRef = 0;
    union SIGNAL* cfm = connCfmSignal(0x4321, 12, 3000);
    EXPECT_EQ(client.connCfm(cfm, 0x20001, localRef, 4), 0);
    free_buf(&cfm);
    EXPECT_EQ(localRef, 12u);
    EXPECT_EQ(client.getProtocolRev(12), 4u);
    EXPECT_EQ(client.getRemoteConnectionRef(12), 3000u);
    EXPECT_EQ(client.getPidByConnectionRef(12), 0x20001u);
    EXPECT_TRUE(client.firstTimeClientConnects(0x20001));

    cfm = connCfmSignal(0x4321, 12, 4000);
    EXPECT_EQ(client.connCfm(cfm, 0x20001, localRef, 5), 0);
    free_buf(&cfm);
    EXPECT_EQ(newProcessErrors(), 1u);
    EXPECT_EQ(nc::lastProcessError(),
              "RFTI : localConnectionRef 12 received in "
              "standardConnCfmSignal.messageHeader->procedureRef from server is already used, no "
              "new connection created, remoteConnectonRef, pid, or protocolVersion not saved!");
    EXPECT_EQ(client.getRemoteConnectionRef(12), 3000u);

    union SIGNAL* tooShort = alloc(8, 0x4321);
    EXPECT_EQ(client.connCfm(tooShort, 0x20001, localRef, 5), 1);
    free_buf(&tooShort);
}

TEST_F(ConnectionHandlerTest, localRevisionsAreCheckedBeforeTheyAreTaken) {
    ConnectionHandler handler("CGCI");
    EXPECT_EQ(handler.getInterfaceName(), "CGCI");
    EXPECT_TRUE(handler.setLocalProtocolRevs({4, 2}));
    EXPECT_FALSE(handler.setLocalProtocolRevs({}));
    EXPECT_TRUE(traced(kObject, "CGCI : 0 local protocol revisions were provided"));
    EXPECT_FALSE(handler.setLocalProtocolRevs({3, 0, 1}));
    EXPECT_TRUE(traced(kObject,
                       "CGCI : The local protocol revision with index 1 is equal to 0, these are "
                       "the given protocol revisions: 3,0,1"));
    EXPECT_EQ(handler.getLocalProtocolRevs(), (std::vector<uint32_t>{4, 2}));
    EXPECT_EQ(ConnectionHandler().getInterfaceName(), "Interface");
}

TEST_F(ConnectionHandlerTest, serverInstanceNameMustFitTheSignal) {
    ConnectionHandler server("CGCI", {1});
    std::string name = "stale";
    union SIGNAL* sig = establishReq(1, 2, {1, 2}, 2, std::string("server-7\0", 9), 9);
    EXPECT_TRUE(server.getServerInstanceName(sig, name));
    EXPECT_EQ(name, "server-7");
    free_buf(&sig);

    sig = establishReq(1, 2, {1, 2}, 2, "abc", 200);
    EXPECT_FALSE(server.getServerInstanceName(sig, name));
    EXPECT_TRUE(name.empty());
    EXPECT_TRUE(traced(kObject,
                       "KGM_IW_CGCI_CONN_ESTABLISH_REQ,sizeOfServerInstanceName(200) wrong! "
                       "Signal size (31) is too small"));
    free_buf(&sig);

    name = "stale";
    sig = establishReq(1, 2, {1, 2}, 9, "abc", 3);
    EXPECT_FALSE(server.getServerInstanceName(sig, name));
    EXPECT_TRUE(name.empty());
    EXPECT_TRUE(
        traced(kObject, "KGM_IW_CGCI_CONN_ESTABLISH_REQ, sizeOfProtocolVersions(9) wrong!"));
    free_buf(&sig);
}

TEST_F(ConnectionHandlerTest, dumpListsEveryConnection) {
    ConnectionHandler server("RMCI", {1});
    EXPECT_EQ(establish(server, establishReq(0x77, 100, {1}), 0x10001, 1), 0);
    EXPECT_EQ(establish(server, establishReq(0x78, 200, {1}), 0x10001, 2), 0);
    testing::internal::CaptureStdout();
    server.dump();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(
        out.rfind("ConnectionHandler interface: RMCI\nConnection  0 localConnectionRef=1\n", 0),
        0u);
    EXPECT_NE(out.find("\nConnection  1 localConnectionRef=2\n  Connection: m_protocolRev=1, "
                       "m_remoteConnectionRef=200, m_remotePid=65537\n"),
              std::string::npos)
        << out;
}
