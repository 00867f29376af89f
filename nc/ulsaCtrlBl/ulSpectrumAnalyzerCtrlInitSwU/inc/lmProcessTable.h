// The static process table: the processes that exist as soon as the load module is
// loaded, created stopped by the start-up code and started once the platform's
// database agent has answered.
#ifndef LM_PROCESS_TABLE_H
#define LM_PROCESS_TABLE_H

#include "ose.h"

#include <cstddef>
#include <cstdint>

/// The table version that the start-up code accepts.
inline constexpr uint32_t kLmProcessTableVersion = 5;
/// Entries of the module's table.
inline constexpr std::size_t kLmStaticProcessCount = 3;

/// What all entries share: the block the processes are created in (0: the block of
/// the creating process).
struct LmProcessBlock {
    PROCESS block;
};

/// One process, its fields in the table's order.
struct LmProcessEntry {
    uint32_t reserved0;
    uint32_t reserved1;
    const char* name;
    OSENTRYPOINT* entry;
    OSADDRESS stackSize;  // bytes
    uint32_t priority;    // in the top byte
    uint32_t reserved2;
    const LmProcessBlock* block;
    uint32_t reserved3;
    uint32_t reserved4;
    PROCESS* pid;  // receives the identity once the process exists
};

struct LmProcessTable {
    uint32_t version;  // kLmProcessTableVersion until the start-up code has read it
    LmProcessEntry entries[kLmStaticProcessCount];
};

/// The priority word of an entry: the priority in the top byte.
constexpr uint32_t lmPriorityWord(OSPRIORITY priority) {
    return static_cast<uint32_t>(priority) << 24;
}

/// The module's table: "ulSpectrumAnalyzer_main_thread" (ULSpectrumAnalyzerMain, 45000
/// bytes, 28), "Vq_IfSupport_proc" (2000, 10), "VqDb_name_proc" (768, 14).
extern LmProcessTable ulsaLmProcessTable;

/// The identities of the module's processes, 0 until created.
extern PROCESS ulsaMainThreadPid;
extern PROCESS vqIfSupportPid;
extern PROCESS vqDbNamePid;

#endif  // LM_PROCESS_TABLE_H
