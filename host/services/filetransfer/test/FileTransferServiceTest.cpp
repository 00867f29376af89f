// The file-transfer service spoken to with raw RFAI signals, as the load module's proxy
// speaks them, against the real name server and an FTP server on loopback.
#include "FtpAndDiskTest.h"
#include "TimeLimit.h"
#include "fileTransferService.h"
#include "nameServerHost.h"
#include "oseHost.h"
#include "rfaiSignals.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>

namespace {

constexpr OSTIME kWait = 5000;
const std::string kUser = "ulsa";
const std::string kPassword = "0123456789abcdefghij";  // the longest the node sends

// A received answer, freed when the object ends.
struct Answer {
    union SIGNAL* signal = nullptr;
    ~Answer() {
        if (signal != nullptr) {
            free_buf(&signal);
        }
    }
    explicit operator bool() const { return signal != nullptr; }
    template <class T>
    T as() const {
        T fields{};
        union SIGNAL* raw = signal;
        std::memcpy(&fields, signal, std::min<std::size_t>(sizeof fields, sigsize(&raw)));
        return fields;
    }
    std::string text(std::size_t offset) const {
        union SIGNAL* raw = signal;
        const OSBUFSIZE size = sigsize(&raw);
        const char* start = reinterpret_cast<const char*>(signal) + offset;
        return offset < size ? std::string(start, strnlen(start, size - offset)) : "";
    }
};

class FileTransferService : public testsupport::FtpAndDiskTest {
  protected:
    FileTransferService() : FtpAndDiskTest(kUser, kPassword, "ulsa-ftstate") {}

    template <class Body>
    void run(Body body, bool loopbackOnly = false) {
        runWithTimeLimit(std::chrono::seconds(60), [&] {
            ose_adopt_thread("rfaiTestClient");
            hostns::startNameServer();
            hostftp::FileTransferConfig config;
            config.responseTimeoutMs = 20000;
            config.loopbackOnly = loopbackOnly;
            m_service = hostftp::startFileTransferService(config);
            body();
            ose_leave_thread();
        });
    }

    static Answer next(SIGSELECT number, OSTIME ms = kWait) {
        const SIGSELECT select[] = {1, number};
        return Answer{receive_w_tmo(ms, select)};
    }

    void sendHead(SIGSELECT sigNo) {
        union SIGNAL* signal = alloc(4, sigNo);
        send(&signal, m_service);
    }
    void initService(uint16_t pv1, uint16_t pv2 = 0, uint16_t pv3 = 0) {
        union SIGNAL* signal = alloc(sizeof(rfai::InitServiceReq), OSA_RFAI_INIT_SERVICE_REQ);
        auto* request = reinterpret_cast<rfai::InitServiceReq*>(signal);
        std::snprintf(request->clientName, sizeof request->clientName, "test");
        request->pvFirstWanted = pv1;
        request->pvSecondWanted = pv2;
        request->pvThirdWanted = pv3;
        send(&signal, m_service);
    }
    void connectTo(const std::string& address, const std::string& password,
                   OSBUFSIZE size = sizeof(rfai::ConnectIpv6BsaReq)) {
        union SIGNAL* signal =
            alloc(sizeof(rfai::ConnectIpv6BsaReq), OSA_RFAI_CONNECT_IPV6_BSA_REQ);
        auto* request = reinterpret_cast<rfai::ConnectIpv6BsaReq*>(signal);
        std::snprintf(request->ipAddress, sizeof request->ipAddress, "%s", address.c_str());
        std::snprintf(request->username, sizeof request->username, "%s", kUser.c_str());
        std::snprintf(request->password, sizeof request->password, "%s", password.c_str());
        if (size < sizeof(rfai::ConnectIpv6BsaReq)) {
            union SIGNAL* shorter = alloc(size, OSA_RFAI_CONNECT_IPV6_BSA_REQ);
            free_buf(&signal);
            signal = shorter;
        }
        send(&signal, m_service);
    }
    void put(const std::string& local, const std::string& remote) {
        union SIGNAL* signal = alloc(sizeof(rfai::PutReq), OSA_RFAI_PUT_REQ);
        auto* request = reinterpret_cast<rfai::PutReq*>(signal);
        std::snprintf(request->localPath, sizeof request->localPath, "%s", local.c_str());
        std::snprintf(request->remotePath, sizeof request->remotePath, "%s", remote.c_str());
        send(&signal, m_service);
    }
    // The result of the next confirmation of that number: "<result>/<faultCode>/<text>".
    static std::string confirmation(SIGSELECT number, OSTIME ms = kWait) {
        Answer answer = next(number, ms);
        if (!answer) {
            return "no answer";
        }
        const auto fields = answer.as<rfai::ResultCfm>();
        return std::to_string(fields.result) + "/" + std::to_string(fields.faultCode) + "/" +
               answer.text(rfai::ResultCfm::additionalInfoOffset);
    }
    static std::string rejection(SIGSELECT number) {
        Answer answer = next(number);
        if (!answer) {
            return "no answer";
        }
        return std::to_string(answer.as<rfai::Rej>().faultCode) + "/" +
               answer.text(rfai::Rej::additionalInfoOffset);
    }

    PROCESS m_service = 0;
};

TEST_F(FileTransferService, aSessionFollowsItsStatesAndPutsFilesFromTheNodesDisk) {
    run([&] {
        // Found as the node finds it: the name server names the provider as sender.
        const std::size_t nameLength = std::strlen(rfai::kServiceName);
        union SIGNAL* subscribe =
            alloc(static_cast<OSBUFSIZE>(rfai::nsSubscribeSize(nameLength)), OSA_RFAI_NS_SUBSCRIBE);
        std::memset(reinterpret_cast<unsigned char*>(subscribe) + 4, 0,
                    rfai::nsSubscribeSize(nameLength) - 4);
        auto* head = reinterpret_cast<rfai::NsSubscribeHead*>(subscribe);
        head->nameFieldLength = static_cast<uint32_t>(rfai::nsNameFieldLength(nameLength));
        std::memcpy(reinterpret_cast<unsigned char*>(subscribe) + 16, rfai::kServiceName,
                    nameLength);
        const SIGSELECT up = OSA_RFAI_SERVER_UP_IND;
        std::memcpy(reinterpret_cast<unsigned char*>(subscribe) + 16 + head->nameFieldLength, &up,
                    sizeof up);
        PROCESS nameServer = 0;
        hunt("ose_ns", 0, &nameServer, nullptr);
        send(&subscribe, nameServer);
        Answer serverUp = next(OSA_RFAI_SERVER_UP_IND);
        ASSERT_TRUE(serverUp);
        EXPECT_EQ(sender(&serverUp.signal), m_service);

        // Nothing but an initiation and a terminate is taken before the initiation.
        put("/d/x", "x");
        EXPECT_EQ(rejection(OSA_RFAI_PUT_REJ), "2000/Request in invalid state");
        initService(1, 2, 3);
        Answer refused = next(OSA_RFAI_INIT_SERVICE_REJ);
        ASSERT_TRUE(refused);
        EXPECT_EQ(refused.as<rfai::InitServiceRej>().highestPv, rfai::kProtocolVersion);
        initService(rfai::kProtocolVersion);
        ASSERT_TRUE(next(OSA_RFAI_INIT_SERVICE_CFM));
        put("/d/x", "x");
        EXPECT_EQ(rejection(OSA_RFAI_PUT_REJ), "2000/Request in invalid state");
        connectTo(m_ftp.address(), kPassword, 300);
        EXPECT_EQ(rejection(OSA_RFAI_CONNECT_REJ), "8/Malformed connect request");
        sendHead(0x7E61FF);  // unknown: dropped, the service goes on
        {
            // A forged answer of a worker names an address: dropped, never deleted.
            union SIGNAL* forged = alloc(16, 0x7E6101);
            std::memset(reinterpret_cast<unsigned char*>(forged) + 4, 0x5A, 12);
            send(&forged, m_service);
            sendHead(0x7E6101);
        }

        connectTo(m_ftp.address(), kPassword);
        EXPECT_EQ(confirmation(OSA_RFAI_CONNECT_CFM),
                  "1/0/Connected to 127.0.0.1:" + std::to_string(m_ftp.port()));
        connectTo(m_ftp.address(), kPassword);
        EXPECT_EQ(rejection(OSA_RFAI_CONNECT_REJ), "2000/Request in invalid state");

        // The file is written through "/d" and lands in the state folder's "d".
        std::string content;
        for (int i = 0; i < 70000; ++i) {
            content.push_back(static_cast<char>((i * 7919) >> 3));
        }
        ASSERT_TRUE(std::filesystem::create_directories(m_state + "/d/ulsasample"));
        FILE* file = std::fopen("/d/ulsasample/a,b=1", "w+");
        ASSERT_NE(file, nullptr);
        ASSERT_EQ(std::fwrite(content.data(), 1, content.size(), file), content.size());
        std::fclose(file);
        put("/d/ulsasample/a,b=1", "/up/load/a,b=1");
        EXPECT_EQ(confirmation(OSA_RFAI_PUT_CFM), "1/0/Stored 70000 bytes as /up/load/a,b=1");
        EXPECT_EQ(ftptest::readFile(m_ftp.root() + "/up/load/a,b=1"), content);
        put("/d/ulsasample/missing", "up/missing");
        EXPECT_EQ(confirmation(OSA_RFAI_PUT_CFM), "0/3/No such local file /d/ulsasample/missing");

        sendHead(OSA_RFAI_DISCONN_REQ);
        EXPECT_EQ(confirmation(OSA_RFAI_DISCONN_CFM), "1/0/");
        put("/d/ulsasample/a,b=1", "again");
        EXPECT_EQ(rejection(OSA_RFAI_PUT_REJ), "2000/Request in invalid state");
        sendHead(OSA_RFAI_TERMINATE_SERVICE_REQ);
        EXPECT_TRUE(next(OSA_RFAI_TERMINATE_SERVICE_CFM));
        sendHead(OSA_RFAI_TERMINATE_SERVICE_REQ);  // without a session: confirmed all the same
        EXPECT_TRUE(next(OSA_RFAI_TERMINATE_SERVICE_CFM));
    });
}

TEST_F(FileTransferService, theSignalLoopAnswersWhileAWorkerWaitsForAServer) {
    run([&] {
        ftptest::SilentListener silent;
        ASSERT_NE(silent.port(), 0);
        initService(rfai::kProtocolVersion);
        ASSERT_TRUE(next(OSA_RFAI_INIT_SERVICE_CFM));
        connectTo(silent.address(), kPassword);

        // A second client is served while the first one's connect hangs.
        const PROCESS service = m_service;
        bool served = false;
        std::thread other([&] {
            ose_adopt_thread("rfaiOtherClient");
            union SIGNAL* request = alloc(sizeof(rfai::InitServiceReq), OSA_RFAI_INIT_SERVICE_REQ);
            std::memset(reinterpret_cast<unsigned char*>(request) + 4, 0,
                        sizeof(rfai::InitServiceReq) - 4);
            reinterpret_cast<rfai::InitServiceReq*>(request)->pvFirstWanted = 5;
            send(&request, service);
            served = static_cast<bool>(next(OSA_RFAI_INIT_SERVICE_CFM, 1000));
            ose_leave_thread();
        });
        other.join();
        EXPECT_TRUE(served);
        EXPECT_EQ(next(OSA_RFAI_CONNECT_CFM, 200).signal, nullptr);

        // The server that never answered goes away: the connect fails.
        silent.close();
        Answer failed = next(OSA_RFAI_CONNECT_CFM);
        ASSERT_TRUE(failed);
        EXPECT_NE(failed.as<rfai::ResultCfm>().result, rfai::kResultSuccess);
        EXPECT_NE(failed.as<rfai::ResultCfm>().faultCode, 0u);
    });
}

TEST_F(FileTransferService, aLoopbackOnlyServiceRefusesEveryOtherAddressBeforeConnecting) {
    run(
        [&] {
            initService(rfai::kProtocolVersion);
            ASSERT_TRUE(next(OSA_RFAI_INIT_SERVICE_CFM));
            for (const char* address :
                 {"192.0.2.1", "10.0.0.1:21", "127.0.0.1.example", "[2001:db8::1]"}) {
                connectTo(address, kPassword);
                const std::string answer = confirmation(OSA_RFAI_CONNECT_CFM, 2000);
                EXPECT_NE(answer.find("Not a loopback address"), std::string::npos) << answer;
            }
            // A loopback server is still reached.
            connectTo(m_ftp.address(), kPassword);
            EXPECT_EQ(confirmation(OSA_RFAI_CONNECT_CFM),
                      "1/0/Connected to 127.0.0.1:" + std::to_string(m_ftp.port()));
        },
        true);
}

}  // namespace
