// The signals between the link tests and their peer program (link_test_peer).
#ifndef HOSTLINK_LINK_TEST_SIGNALS_H
#define HOSTLINK_LINK_TEST_SIGNALS_H

#include "ose.h"

namespace linktest {

constexpr SIGSELECT kCreate = 0x7E570001;    // to "control": start an echo process named name
constexpr SIGSELECT kKill = 0x7E570002;      // to "control": kill the process named name
constexpr SIGSELECT kWho = 0x7E570003;       // to an echo: answer with the name of my sender
constexpr SIGSELECT kWhoReply = 0x7E570004;  // name: how the echo's kernel calls the asker
constexpr SIGSELECT kData = 0x7E570005;      // an echo sends it back as it is

struct NameSig {
    SIGSELECT sigNo;
    char name[64];
};

}  // namespace linktest

#endif  // HOSTLINK_LINK_TEST_SIGNALS_H
