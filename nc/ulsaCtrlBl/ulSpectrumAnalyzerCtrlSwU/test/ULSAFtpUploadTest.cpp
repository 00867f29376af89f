// The sample upload: ULSAFtpHandlerImpl and ULSAProxyRfai on the test's thread as the
// main process, against the real name server, the file-transfer service and an FTP
// server on loopback. A small RFTI client of the test keeps the queue of waiting
// uploads as the real one does, through the upload-finished hook.
#include "FtpTestServer.h"
#include "LevelTraceCapture.h"
#include "MainLoopPump.h"
#include "RftiClientHandler.h"
#include "SignalDistributorAPI.h"
#include "SignalNumber2Name.h"
#include "TimeLimit.h"
#include "ULSAFtpHandlerImpl.h"
#include "ULSAProxyRfai.h"
#include "fileTransferService.h"
#include "hostDisk.h"
#include "nameServerHost.h"
#include "oseHost.h"
#include "rfaiSignals.h"
#include "traceGroups.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace {

const std::string kUser = "ulsa";
const std::string kPassword = "0123456789abcdefghij";  // 20 characters: the longest
const std::string kFolder = "/d/ulsasample";

// What happened, in order: "start A", "queued B", "done A 1 Success", ...
std::vector<std::string> events;

// One upload as the RFTI client runs it: one handler at a time in the process, the
// others wait in arrival order and start from the upload-finished hook.
class Upload : public RftiClientHandler {
  public:
    Upload(std::string name, std::string password, std::string address, std::string remote,
           std::string local)
        : m_name(std::move(name)),
          m_password(std::move(password)),
          m_address(std::move(address)),
          m_remote(std::move(remote)),
          m_local(std::move(local)) {}
    ~Upload() override { delete m_handler; }

    void begin() {
        if (!idle) {
            events.push_back("queued " + m_name);
            queue.push_back(this);
            return;
        }
        idle = false;
        events.push_back("start " + m_name);
        m_handler = new ULSAFtpHandlerImpl;
        m_handler->setParameters(kUser, m_password, m_address, m_remote, m_local);
        m_handler->start(this);
    }
    static void nextFromQueue() {
        idle = true;
        if (!queue.empty()) {
            queue.front()->begin();
            queue.pop_front();
        }
    }

    void init() override { ++inits; }
    void huntRftiServer(const std::string&) override {}
    void getResult(uint32_t, uint32_t) override {}
    void ftpDone(bool ok, const std::string& text) override {
        events.push_back("done " + m_name + " " + (ok ? "1 " : "0 ") + text);
        delete m_handler;
        m_handler = nullptr;
        finished = true;
    }
    RftiGetCapabilitiesCfm getRftiCapabilities() override { return RftiGetCapabilitiesCfm{}; }

    static bool idle;
    static std::deque<Upload*> queue;
    bool finished = false;
    int inits = 0;

  private:
    std::string m_name, m_password, m_address, m_remote, m_local;
    ULSAFtpHandlerImpl* m_handler = nullptr;
};
bool Upload::idle = true;
std::deque<Upload*> Upload::queue;

// A file of the node's disk with content that shows every byte's place.
std::string writeSample(const std::string& nodePath, std::size_t size) {
    std::string content;
    for (std::size_t i = 0; i < size; ++i) {
        content.push_back(static_cast<char>((i * 131) ^ (i >> 8)));
    }
    FILE* file = std::fopen(nodePath.c_str(), "w+");
    if (file != nullptr) {
        std::fwrite(content.data(), 1, content.size(), file);
        std::fclose(file);
    }
    return content;
}

class UploadTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string whyNot;
        ASSERT_TRUE(m_ftp.start(kUser, kPassword, whyNot)) << whyNot;
        char pattern[] = "/tmp/ulsa-upload-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        m_state = pattern;
        ASSERT_TRUE(hostdisk::setDiskRoot(m_state, whyNot)) << whyNot;
        events.clear();
        Upload::idle = true;
        Upload::queue.clear();
        ULSAFtpHandlerImpl::setUploadFinishedHook(&Upload::nextFromQueue);
    }
    void TearDown() override {
        ULSAFtpHandlerImpl::setUploadFinishedHook(nullptr);
        ose_shutdown();
        hostdisk::clearDiskRoot();
        std::filesystem::remove_all(m_state);
    }

    // The body on the main process, with the name server and (unless told otherwise)
    // the file-transfer service running.
    template <class Body>
    void run(Body body, bool withService = true) {
        runWithTimeLimit(std::chrono::seconds(60), [&] {
            ose_adopt_thread("ulSpectrumAnalyzer_main_thread");
            traceGroups::registerApplicationTraceGroups();
            {
                LevelTraceCapture trace({"ulSpectrumAnalyzerCtrlSwU", kTraceDefaultObjectName});
                m_trace = &trace;
                hostns::startNameServer();
                if (withService) {
                    hostftp::startFileTransferService();
                }
                ASSERT_EQ(mkdir(kFolder.c_str(), 0755), 0);
                body();
                m_trace = nullptr;
            }
            destroySignalDistributorAPI();
            SignalNumber2Name::destroyInstance();
            ose_leave_thread();
        });
    }

    ftptest::FtpTestServer m_ftp;
    std::string m_state;
    LevelTraceCapture* m_trace = nullptr;
};

TEST_F(UploadTest, aFileOnTheNodesDiskReachesTheServerByteForByte) {
    run([&] {
        const std::string name =
            "SubNetwork=1,MeContext=node1,RU-1,A,20261122.143000123ULSA_SAMPLE";
        const std::string content = writeSample(kFolder + "/" + name, 100000);
        EXPECT_EQ(std::filesystem::file_size(m_state + "/d/ulsasample/" + name), 100000u);
        Upload upload("A", kPassword, m_ftp.address(), "samples/today/" + name,
                      kFolder + "/" + name);
        upload.begin();
        ASSERT_TRUE(mainloop::pumpUntil([&] { return upload.finished; }));
        EXPECT_EQ(events, (std::vector<std::string>{"start A", "done A 1 Success"}));
        EXPECT_EQ(ftptest::readFile(m_ftp.root() + "/samples/today/" + name), content);
        EXPECT_EQ(upload.inits, 0);
        EXPECT_EQ(SignalNumber2Name::getInstance()->sigNo2Name(OSA_RFAI_PUT_CFM),
                  "OSA_RFAI_PUT_CFM");
    });
}

TEST_F(UploadTest, failuresReachTheClientWithTheirTexts) {
    run([&] {
        writeSample(kFolder + "/sample", 1000);
        const std::string nobody = "127.0.0.1:" + std::to_string(ftptest::freeLoopbackPort());
        const struct {
            const char* name;
            std::string password;
            std::string address;
            std::string local;
            std::string textBegins;
            int inits;
        } cases[] = {
            {"server down", kPassword, nobody, kFolder + "/sample",
             "FaultCode = 1 (Connection refused by " + nobody + ")", 0},
            {"wrong password", "not the password", m_ftp.address(), kFolder + "/sample",
             "FaultCode = 2 (Login failed for user ulsa", 0},
            {"no local file", kPassword, m_ftp.address(), kFolder + "/none",
             "No such local file /d/ulsasample/none", 0},
            {"21 characters", kPassword + "k", m_ftp.address(), kFolder + "/sample",
             "Too long password", 1},
        };
        for (const auto& row : cases) {
            SCOPED_TRACE(row.name);
            events.clear();
            Upload::idle = true;
            Upload upload("U", row.password, row.address, "up/sample", row.local);
            upload.begin();
            ASSERT_TRUE(mainloop::pumpUntil([&] { return upload.finished; }));
            ASSERT_EQ(events.size(), 2u);
            const std::string head = "done U 0 " + row.textBegins;
            EXPECT_EQ(events[1].compare(0, head.size(), head), 0) << events[1];
            EXPECT_EQ(upload.inits, row.inits);
        }
        EXPECT_FALSE(std::filesystem::exists(m_ftp.root() + "/up/sample"));

        // No password at all: the upload stops where it is, and nobody is told.
        events.clear();
        Upload::idle = true;
        Upload silent("S", "", m_ftp.address(), "up/sample", kFolder + "/sample");
        silent.begin();
        EXPECT_EQ(events, std::vector<std::string>{"start S"});
        EXPECT_TRUE(m_trace->has(1, "Password is a null pointer"));
    });
}

TEST_F(UploadTest, queuedUploadsRunOneAfterTheOtherInArrivalOrder) {
    run([&] {
        const std::string first = writeSample(kFolder + "/first", 300000);
        const std::string second = writeSample(kFolder + "/second", 5000);
        Upload a("A", kPassword, m_ftp.address(), "/q/first", kFolder + "/first");
        Upload b("B", kPassword, m_ftp.address(), "/q/second", kFolder + "/second");
        a.begin();
        b.begin();
        ASSERT_TRUE(mainloop::pumpUntil([&] { return a.finished && b.finished; }));
        EXPECT_EQ(events, (std::vector<std::string>{"start A", "queued B", "done A 1 Success",
                                                    "start B", "done B 1 Success"}));
        EXPECT_EQ(ftptest::readFile(m_ftp.root() + "/q/first"), first);
        EXPECT_EQ(ftptest::readFile(m_ftp.root() + "/q/second"), second);
    });
}

// A stand-in service that answers the connect request with a reply of the test's
// making, and keeps the request it got.
std::mutex fakeLock;
std::vector<unsigned char> fakeReply;    // guarded by fakeLock
std::vector<unsigned char> lastConnect;  // guarded by fakeLock
int fakeTerminates = 0;                  // guarded by fakeLock

OS_PROCESS(fakeServiceMain) {
    static const SIGSELECT any[] = {0};
    hostns::publishService(rfai::kServiceName);
    for (;;) {
        union SIGNAL* signal = receive(any);
        if (signal == nullptr) {
            continue;
        }
        SIGSELECT sigNo = 0;
        std::memcpy(&sigNo, signal, sizeof sigNo);
        const PROCESS client = sender(&signal);
        union SIGNAL* answer = nullptr;
        if (sigNo == OSA_RFAI_INIT_SERVICE_REQ) {
            answer = alloc(sizeof(rfai::InitServiceCfm), OSA_RFAI_INIT_SERVICE_CFM);
        } else if (sigNo == OSA_RFAI_CONNECT_IPV6_BSA_REQ) {
            std::lock_guard<std::mutex> guard(fakeLock);
            const unsigned char* bytes = reinterpret_cast<const unsigned char*>(signal);
            lastConnect.assign(bytes, bytes + sigsize(&signal));
            if (!fakeReply.empty()) {  // empty: a service that hangs
                answer = alloc(static_cast<OSBUFSIZE>(fakeReply.size()), 0);
                std::memcpy(answer, fakeReply.data(), fakeReply.size());
            }
        } else if (sigNo == OSA_RFAI_TERMINATE_SERVICE_REQ) {
            std::lock_guard<std::mutex> guard(fakeLock);
            ++fakeTerminates;
            answer = alloc(4, OSA_RFAI_TERMINATE_SERVICE_CFM);
        }
        free_buf(&signal);
        if (answer != nullptr) {
            send(&answer, client);
        }
    }
}

PROCESS startFakeService() {
    const PROCESS fake =
        create_process(OS_PRI_PROC, "fakeRfai", fakeServiceMain, 16384, 20, 0, 0, nullptr, 0, 0);
    start(fake);
    return fake;
}

// Runs the loop until the fake service has seen what seen() tells, under its lock.
bool runLoopUntilFake(const std::function<bool()>& seen) {
    return mainloop::pumpUntil([&] {
        std::lock_guard<std::mutex> guard(fakeLock);
        return seen();
    });
}

std::vector<unsigned char> reply(SIGSELECT sigNo, std::vector<uint32_t> words,
                                 const std::string& tail) {
    std::vector<unsigned char> bytes(4 + 4 * words.size());
    std::memcpy(bytes.data(), &sigNo, 4);
    std::memcpy(bytes.data() + 4, words.data(), 4 * words.size());
    bytes.insert(bytes.end(), tail.begin(), tail.end());
    return bytes;
}

TEST_F(UploadTest, repliesAreReadWithinTheirSizeAndRequestsKeepTheirLayout) {
    run(
        [&] {
            const PROCESS fake = startFakeService();
            const std::string longInfo(rfai::kAdditionalInfoSize, 'x');  // no NUL
            const std::string longText = ("FaultCode = 7 (" + longInfo + ")").substr(0, 127);
            const struct {
                const char* name;
                std::vector<unsigned char> reply;
                std::string text;
            } cases[] = {
                {"info without NUL", reply(OSA_RFAI_CONNECT_REJ, {7}, longInfo), longText},
                {"info cut by the end", reply(OSA_RFAI_CONNECT_CFM, {0, 3}, "abcde"),
                 "FaultCode = 3 (abcde)"},
                {"too short", reply(OSA_RFAI_CONNECT_CFM, {0}, ""), "FaultCode = 0 ()"},
                {"put refused by its text alone", reply(OSA_RFAI_PUT_REJ, {9}, "disk full"),
                 "disk full"},
            };
            const std::string longName(300, 'u');
            for (const auto& row : cases) {
                SCOPED_TRACE(row.name);
                {
                    std::lock_guard<std::mutex> guard(fakeLock);
                    fakeReply = row.reply;
                }
                events.clear();
                Upload::idle = true;
                Upload upload("F", kPassword, longName, "r", kFolder + "/none");
                upload.begin();
                ASSERT_TRUE(mainloop::pumpUntil([&] { return upload.finished; }));
                EXPECT_EQ(events.back(), "done F 0 " + row.text);
            }
            EXPECT_TRUE(m_trace->has(1, "OSA_RFAI_CONNECT_CFM shorter than its fields (8 bytes)"));

            // The connect request: every field cut to its width with a NUL at its end.
            std::lock_guard<std::mutex> guard(fakeLock);
            ASSERT_EQ(lastConnect.size(), sizeof(rfai::ConnectIpv6BsaReq));
            rfai::ConnectIpv6BsaReq request;
            std::memcpy(&request, lastConnect.data(), sizeof request);
            EXPECT_EQ(std::string(request.ipAddress), std::string(255, 'u'));
            EXPECT_EQ(std::string(request.username), kUser);
            EXPECT_EQ(std::string(request.password), kPassword);
            EXPECT_EQ(lastConnect[259], 0);
            EXPECT_EQ(lastConnect[514], 0);
            EXPECT_EQ(lastConnect[535], 0);
            kill_proc(fake);
        },
        false);
}

TEST_F(UploadTest, aSessionLeftMidwayIsTerminatedAndALostServiceIsSearchedAgain) {
    run(
        [&] {
            const std::string content = writeSample(kFolder + "/sample", 2000);
            {
                std::lock_guard<std::mutex> guard(fakeLock);
                fakeReply.clear();
                lastConnect.clear();
            }
            const PROCESS fake = startFakeService();
            // A handler deleted while it waits still ends its session.
            {
                Upload dropped("D", kPassword, m_ftp.address(), "x", kFolder + "/sample");
                dropped.begin();
                ASSERT_TRUE(runLoopUntilFake([] { return !lastConnect.empty(); }));
                std::lock_guard<std::mutex> guard(fakeLock);
                lastConnect.clear();
                fakeTerminates = 0;
            }
            ASSERT_TRUE(runLoopUntilFake([] { return fakeTerminates == 1; }));
            events.clear();
            Upload::idle = true;

            Upload upload("A", kPassword, m_ftp.address(), "again/sample", kFolder + "/sample");
            upload.begin();
            ASSERT_TRUE(runLoopUntilFake([] { return !lastConnect.empty(); }));
            // The server ends: its attach fires first, the search starts again, once,
            // and finds the next service.
            kill_proc(fake);
            hostftp::startFileTransferService();
            ASSERT_TRUE(mainloop::pumpUntil([&] { return upload.finished; }));
            EXPECT_EQ(events, (std::vector<std::string>{"start A", "done A 1 Success"}));
            EXPECT_EQ(ftptest::readFile(m_ftp.root() + "/again/sample"), content);
        },
        false);
}

TEST_F(UploadTest, aProxyWithoutServerAnswersItselfWithTheInvalidStateRejection) {
    run([&] {
        ULSAProxyRfai* proxy = Osa_Rfai_createProxy();
        sendConnectIPv6BsaReq(proxy, nullptr, nullptr, nullptr);
        sendPutReq(proxy, "a", "b");
        sendDisconnReq(proxy);
        sendTerminateServiceReq(proxy);
        const SIGSELECT numbers[] = {OSA_RFAI_CONNECT_REJ, OSA_RFAI_PUT_REJ, OSA_RFAI_DISCONN_REJ};
        for (SIGSELECT number : numbers) {
            const SIGSELECT select[] = {1, number};
            union SIGNAL* answer = receive_w_tmo(1000, select);
            ASSERT_NE(answer, nullptr);
            EXPECT_EQ(sender(&answer), current_process());
            ASSERT_EQ(sigsize(&answer), sizeof(rfai::Rej));
            const auto* reject = reinterpret_cast<const rfai::Rej*>(answer);
            EXPECT_EQ(reject->faultCode, 2000u);
            EXPECT_STREQ(reject->additionalInfo, "Request in invalid state");
            free_buf(&answer);
        }
        const SIGSELECT terminated[] = {1, OSA_RFAI_TERMINATE_SERVICE_CFM};
        union SIGNAL* confirm = receive_w_tmo(1000, terminated);
        EXPECT_NE(confirm, nullptr);
        free_buf(&confirm);
        EXPECT_EQ(Osa_Rfai_initiateService(proxy, std::string(50, 'c').c_str(), 5, 0, 0), 2);
        EXPECT_EQ(std::string(proxy->clientName), std::string(40, 'c'));
        Osa_Rfai_deleteProxy(&proxy);
        EXPECT_EQ(proxy, nullptr);
    });
}

}  // namespace
