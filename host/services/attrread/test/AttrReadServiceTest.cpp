// The attribute-read service spoken to by raw signals, as a reader on the node does:
// answers from its table, and failures for what it cannot read.
#include "TimeLimit.h"
#include "attrReadService.h"
#include "imaSignals.h"
#include "nameServerHost.h"
#include "oseHost.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

using namespace hostima;

namespace {

std::string request(const std::string& body, const char* version = "R1A") {
    return std::string("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<ima version=\"") + version +
           "\">\n" + body + "</ima>";
}

// The next confirmation's clientRef and text; clientRef 0xFFFFFFFF when none came or its
// layout is wrong.
std::pair<uint32_t, std::string> nextConfirm() {
    static const SIGSELECT confirm[] = {1, OMF_MAO_IMA_NC_READ_CFM};
    union SIGNAL* cfm = receive_w_tmo(5000, confirm);
    std::pair<uint32_t, std::string> got{0xFFFFFFFFu, ""};
    if (cfm == nullptr) {
        return got;
    }
    uint32_t reserved = 1;
    std::memcpy(&reserved, reinterpret_cast<unsigned char*>(cfm) + ima::kReservedOffset, 4);
    if (ima::readText(cfm, sigsize(&cfm), got.second) &&
        sigsize(&cfm) == got.second.size() + ima::kSizeBeyondText && reserved == 0) {
        ima::readClientRef(cfm, sigsize(&cfm), got.first);
    }
    free_buf(&cfm);
    return got;
}

}  // namespace

TEST(AttrReadService, answersFromItsTableAndFailsWhatItCannotRead) {
    runWithTimeLimit(std::chrono::seconds(20), [] {
        ose_adopt_thread("attrReadTestClient");
        hostns::startNameServer();
        AttrReadConfig config;
        config.attributes.push_back({"Big=1", "text", std::string(ima::kLongestText, 'x')});
        const PROCESS service = startAttrReadService(config);
        EXPECT_EQ(startAttrReadService(), service);  // the running one

        const std::string esf = "ManagedElement=1,EquipmentSupportFunction=1";
        struct Case {
            const char* what;
            std::string text;
            std::string answer;  // a line of the answer
        };
        const Case cases[] = {
            {"a known object", request("<request ldn=\"" + esf + "\"/>\n"),
             "<attr name=\"fullDistinguishedName\" type=\"STRING\" value=\"SubNetwork=1,"
             "MeContext=node1," +
                 esf + "\"/>"},
            {"an unknown object", request("<request ldn=\"X=1\"/>\n"),
             "<error ldn=\"X=1\" text=\"No such managed object\"/>"},
            {"another element", request("<read ldn=\"X=1\"/>\n"),
             "<error text=\"Malformed request element\"/>"},
            {"no document", "<ima", "<error text=\"Malformed request\"/>"},
            {"another root", "<mim version=\"R1A\"/>", "<error text=\"Malformed request\"/>"},
            {"another version", request("", "R2A"), "<error text=\"Unsupported version\"/>"},
            {"an answer too long", request("<request ldn=\"Big=1\"/>\n"),
             "<error text=\"Reply too long\"/>"},
        };
        uint32_t clientRef = 100;
        for (const Case& c : cases) {
            union SIGNAL* signal = ima::makeSignal(OMF_MAO_IMA_NC_READ_REQ, ++clientRef, c.text);
            send(&signal, service);
            const auto cfm = nextConfirm();
            EXPECT_EQ(cfm.first, clientRef) << c.what;
            EXPECT_NE(cfm.second.find("\n" + c.answer + "\n"), std::string::npos)
                << c.what << ": " << cfm.second.substr(0, 300);
        }

        // Requests without a readable text are answered with the failure; without a
        // clientRef, and other signals, are dropped; the service goes on.
        union SIGNAL* pastTheEnd = ima::makeSignal(OMF_MAO_IMA_NC_READ_REQ, 7, request(""));
        std::memset(reinterpret_cast<unsigned char*>(pastTheEnd) + ima::kLengthOffset, 0xFF, 4);
        send(&pastTheEnd, service);
        auto cfm = nextConfirm();
        EXPECT_EQ(cfm.first, 7u);
        EXPECT_NE(cfm.second.find("<error text=\"Malformed request\"/>"), std::string::npos);
        union SIGNAL* short_ = alloc(6, OMF_MAO_IMA_NC_READ_REQ);
        send(&short_, service);
        union SIGNAL* other = alloc(64, 0x1740206);
        send(&other, service);
        union SIGNAL* last = ima::makeSignal(OMF_MAO_IMA_NC_READ_REQ, 8, request(""));
        send(&last, service);
        cfm = nextConfirm();
        EXPECT_EQ(cfm.first, 8u);  // nothing came before it
        EXPECT_EQ(cfm.second, request(""));

        stopAttrReadService(service);
        ose_leave_thread();
    });
    ose_shutdown();
}
