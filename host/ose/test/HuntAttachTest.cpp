// Names and supervision: hunt, attach and detach, and phantoms with redirection.
#include "KernelFixture.h"

#include <thread>

using namespace osetest;

namespace {

constexpr SIGSELECT kHuntSig = 200;
constexpr SIGSELECT kAttachSig = 201;

class HuntAttachTest : public KernelTest {
  protected:
    static PROCESS phantom(const char* name, OS_redir_entry* table) {
        return create_process(OS_PHANTOM, name, nullptr, 0, 0, 0, 0, table, 0, 0);
    }

    /// The next signal of that number; checks its sender; frees it.
    static void expectFrom(SIGSELECT no, PROCESS from, uint32_t value = 0, OSTIME wait = kArrival) {
        const SIGSELECT sel[] = {1, no};
        union SIGNAL* s = receive_w_tmo(wait, sel);
        ASSERT_NE(s, NIL) << "signal " << no << " did not come";
        EXPECT_EQ(sender(&s), from);
        EXPECT_EQ(s->test.value, value);
        free_buf(&s);
    }

    static void expectNothing() { EXPECT_EQ(receive_w_tmo(kAbsence, kAny), NIL); }
};

TEST_F(HuntAttachTest, huntFindsALiveProcessAndAnswersAtOnce) {
    const PROCESS server = spawn("server", echoEntry);
    PROCESS found = 0;
    union SIGNAL* s = makeSig(kHuntSig, 1);
    EXPECT_TRUE(hunt("server", 0, &found, &s));
    EXPECT_EQ(found, server);
    EXPECT_EQ(s, NIL);
    expectFrom(kHuntSig, server, 1, 0);

    EXPECT_TRUE(hunt("server", 0, &found, nullptr));
    EXPECT_FALSE(hunt("nobody", 0, &found, nullptr));
    EXPECT_EQ(found, 0u);
    EXPECT_FALSE(hunt(nullptr, 0, &found, nullptr));
    expectError("hunt@ose.h", OSE_ERR_BAD_ARGUMENT);
}

TEST_F(HuntAttachTest, aHuntForANameToComeAnswersWhenItIsCreatedOrAdopted) {
    PROCESS found = 1;
    union SIGNAL* first = makeSig(kHuntSig, 1);
    union SIGNAL* second = makeSig(kHuntSig, 2);
    EXPECT_FALSE(hunt("later", 0, &found, &first));
    EXPECT_EQ(found, 0u);
    EXPECT_EQ(first, NIL);
    EXPECT_FALSE(hunt("later", 0, nullptr, &second));
    union SIGNAL* link = makeSig(kHuntSig, 3);
    EXPECT_FALSE(hunt("link/later", 0, nullptr, &link));  // no link: it waits
    expectNothing();

    const PROCESS later = create_process(OS_PHANTOM, "later", nullptr, 0, 0, 0, 0, nullptr, 0, 0);
    expectFrom(kHuntSig, later, 1);
    expectFrom(kHuntSig, later, 2);
    expectNothing();

    union SIGNAL* third = makeSig(kHuntSig, 4);
    EXPECT_FALSE(hunt("worker", 0, nullptr, &third));
    PROCESS worker = 0;
    std::thread t([&] {
        worker = ose_adopt_thread("worker");
        ose_leave_thread();
    });
    t.join();
    expectFrom(kHuntSig, worker, 4);
    EXPECT_FALSE(hunt("worker", 0, nullptr, nullptr));  // it left again
}

TEST_F(HuntAttachTest, attachTellsOfAnEndNowOrLaterAndDetachTakesItBack) {
    const PROCESS echo = spawn("echo", echoEntry);
    union SIGNAL* mine = makeSig(kAttachSig, 7);
    const OSATTREF ref = attach(&mine, echo);
    EXPECT_NE(ref, 0u);
    EXPECT_EQ(mine, NIL);
    const OSATTREF byDefault = attach(nullptr, echo);
    union SIGNAL* taken = makeSig(kAttachSig, 8);
    OSATTREF detached = attach(&taken, echo);
    detach(&detached);
    EXPECT_EQ(detached, 0u);
    expectNothing();

    union SIGNAL* stop = makeSig(kStopSig);
    send(&stop, echo);
    expectFrom(kAttachSig, echo, 7);
    const SIGSELECT attachSel[] = {1, OS_ATTACH_SIG};
    union SIGNAL* dflt = receive_w_tmo(kArrival, attachSel);
    ASSERT_NE(dflt, NIL);
    EXPECT_EQ(sender(&dflt), echo);
    EXPECT_EQ(sigsize(&dflt), sizeof(SIGSELECT));
    free_buf(&dflt);
    expectNothing();  // the detached one stays away

    OSATTREF fired = byDefault;
    detach(&fired);  // fired already: harmless
    EXPECT_EQ(fired, 0u);

    union SIGNAL* late = makeSig(kAttachSig, 9);
    attach(&late, echo);
    expectFrom(kAttachSig, echo, 9, 0);
    union SIGNAL* never = makeSig(kAttachSig, 10);
    attach(&never, 0x7FFFFFF0u);
    expectFrom(kAttachSig, 0x7FFFFFF0u, 10, 0);

    OSATTREF zero = 0;
    detach(&zero);
    expectError("detach@ose.h", OSE_ERR_BAD_ARGUMENT);
}

TEST_F(HuntAttachTest, phantomsForwardByTheirTableAndKeepSenderAndAddressee) {
    const PROCESS stranger = 0x00ABCDEFu;  // any pid will do as a claimed sender
    OS_redir_entry byNumber[] = {{3, 0}, {5, me}, {6, me}};
    const PROCESS routed = phantom("routed", byNumber);
    OS_redir_entry toMe[] = {{1, me}};
    const PROCESS byDefault = phantom("default", toMe);
    OS_redir_entry onward[] = {{1, byDefault}};
    const PROCESS chained = phantom("chained", onward);
    const PROCESS nowhere = phantom("nowhere", nullptr);

    union SIGNAL* s = makeSig(5, 55);
    send_w_s(&s, stranger, routed);
    s = receive_w_tmo(kArrival, kAny);
    ASSERT_NE(s, NIL);
    EXPECT_EQ(s->test.value, 55u);
    EXPECT_EQ(sender(&s), stranger);
    EXPECT_EQ(addressee(&s), routed);
    free_buf(&s);

    s = makeSig(7, 77);  // no entry and no default: gone
    send(&s, routed);
    EXPECT_EQ(s, NIL);
    s = makeSig(7, 78);
    send(&s, nowhere);
    expectNothing();

    s = makeSig(9, 99);
    send(&s, chained);
    s = receive_w_tmo(kArrival, kAny);
    ASSERT_NE(s, NIL);
    EXPECT_EQ(s->test.value, 99u);
    EXPECT_EQ(sender(&s), me);
    EXPECT_EQ(addressee(&s), chained);
    free_buf(&s);

    union SIGNAL* pcb = reinterpret_cast<union SIGNAL*>(get_pcb(routed));
    ASSERT_NE(pcb, NIL);
    EXPECT_EQ(pcb->pcb.type, static_cast<uint32_t>(OS_PHANTOM));
    EXPECT_EQ(pcb->pcb.status, OS_STATE_READY);
    free_buf(&pcb);

    // A killed phantom tells its attachers and forwards nothing more.
    union SIGNAL* watch = makeSig(kAttachSig, 1);
    attach(&watch, byDefault);
    kill_proc(byDefault);
    expectFrom(kAttachSig, byDefault, 1);
    s = makeSig(9, 100);
    send(&s, chained);
    expectNothing();
    EXPECT_FALSE(hunt("default", 0, nullptr, nullptr));

    // A prioritised process with a table gives away only the listed numbers.
    OS_redir_entry divert[] = {{2, 0}, {9, me}};
    const PROCESS echo = create_process(OS_PRI_PROC, "echo", echoEntry, 0, 0, 0, 0, divert, 0, 0);
    start(echo);
    s = makeSig(9, 1);
    send_w_s(&s, stranger, echo);
    expectFrom(9, stranger, 1);
    s = makeSig(8, 2);
    send(&s, echo);
    expectFrom(8, echo, 2);

    OS_redir_entry empty[] = {{0, me}};
    EXPECT_EQ(phantom("bad", empty), 0u);
    expectError("create_process@ose.h", OSE_ERR_BAD_ARGUMENT);
}

// What a link relies on: hunts for paths are observed, the names they wait for can be
// listed, and a link phantom hands each signal to its outlet, dies like a process.
struct Handed {
    std::vector<std::string> observed;
    std::vector<std::string> waiting;
    uint32_t value = 0;
    OSBUFSIZE size = 0;
    PROCESS from = 0;
    PROCESS to = 0;
};

TEST_F(HuntAttachTest, huntsForPathsAreObservedAndLinkPhantomsHandSignalsToTheirOutlet) {
    static Handed handed;
    handed = Handed{};
    ose_set_hunt_observer([](void*, const char* name) { handed.observed.push_back(name); },
                          nullptr);
    PROCESS found = 0;
    EXPECT_FALSE(hunt("plain", 0, &found, nullptr));
    EXPECT_FALSE(hunt("far/away", 0, &found, nullptr));
    union SIGNAL* s = makeSig(kHuntSig, 7);
    EXPECT_FALSE(hunt("far/server", 0, &found, &s));
    EXPECT_EQ(handed.observed, (std::vector<std::string>{"far/away", "far/server"}));
    ose_waiting_hunts(
        "far/", [](void*, const char* name) { handed.waiting.push_back(name); }, nullptr);
    EXPECT_EQ(handed.waiting, std::vector<std::string>{"far/server"});

    const PROCESS link = ose_create_link_phantom(
        "far/server",
        [](void*, const void* sig, OSBUFSIZE size, PROCESS from, PROCESS to) {
            handed.value = static_cast<const TestSig*>(sig)->value;
            handed.size = size;
            handed.from = from;
            handed.to = to;
        },
        nullptr);
    expectFrom(kHuntSig, link, 7);
    s = makeSig(kDataSig, 42);
    send(&s, link);
    EXPECT_EQ(handed.value, 42u);
    EXPECT_EQ(handed.size, sizeof(TestSig));
    EXPECT_EQ(handed.from, me);
    EXPECT_EQ(handed.to, link);

    s = makeSig(kAttachSig);
    attach(&s, link);
    kill_proc(link);
    expectFrom(kAttachSig, link);
    handed.value = 0;
    s = makeSig(kDataSig, 43);
    send(&s, link);
    EXPECT_EQ(handed.value, 0u) << "a killed link phantom still hands signals on";
}

}  // namespace
