// ulsaSig.h: the load module's own signals, which the kernel hands back to it: the
// hunt and attach signals of the radio unit's servers and the supervision time-out.
#ifndef ULSA_SIG_H
#define ULSA_SIG_H

#include "ose.h"

#include <cstddef>
#include <cstdint>

#define ULSA_RMCI_SERVER_HUNT_IND ((SIGSELECT)0x1714400)
#define ULSA_RMCI_SERVER_ATTACH_IND ((SIGSELECT)0x1714401)
#define ULSA_RFTI_SERVER_HUNT_IND ((SIGSELECT)0x1714402)
#define ULSA_RFTI_SERVER_ATTACH_IND ((SIGSELECT)0x1714403)
#define ULSA_TMO_SIG ((SIGSELECT)0x1714404)

/// The four hunt and attach signals, 108 bytes: the hunted name, at most
/// kUlsaServerNameMax characters and its NUL, the rest of the 104 bytes zero.
struct UlsaServerInd {
    static constexpr OSBUFSIZE minSize = 108;
    static constexpr std::size_t nameSize = 104;
    SIGSELECT sigNo;
    char serverName[nameSize];
};
constexpr std::size_t kUlsaServerNameMax = 99;
static_assert(offsetof(UlsaServerInd, serverName) == 4, "UlsaServerInd layout");
static_assert(sizeof(UlsaServerInd) == 108, "UlsaServerInd layout");

/// ULSA_TMO_SIG, 16 bytes: which client's supervision of which signal ran out.
struct UlsaTmoSig {
    static constexpr OSBUFSIZE minSize = 16;
    SIGSELECT sigNo;
    uint32_t id;        // froId of the supervising client
    uint32_t tmo_type;  // 0 for every supervision of this load module
    uint32_t preload;   // number of the supervised signal
};
static_assert(offsetof(UlsaTmoSig, id) == 4, "UlsaTmoSig layout");
static_assert(offsetof(UlsaTmoSig, tmo_type) == 8, "UlsaTmoSig layout");
static_assert(offsetof(UlsaTmoSig, preload) == 12, "UlsaTmoSig layout");
static_assert(sizeof(UlsaTmoSig) == 16, "UlsaTmoSig layout");

#endif  // ULSA_SIG_H
