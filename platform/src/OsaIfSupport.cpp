// The support loop shared by "Vq_IfSupport_proc" and "Osa_IfSupport_proc": a chain of
// server blocks, one per name, each server supervised with attach.
#include "OsaIfSupport.h"
#include "proxyProcesses.h"

#include "dynTrace.h"
#include "traceGroups.h"

#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

namespace {

// Every block ever made, so that a pointer a proxy keeps stays valid for the life of the
// program, also after its support process has been ended.
std::mutex keptLock;
std::vector<std::unique_ptr<OsaServerBlock>> keptBlocks;

OsaServerBlock* newBlock(const char* name) {
    auto block = std::make_unique<OsaServerBlock>();
    block->status = 0;
    block->pid = 0;
    block->next = nullptr;
    std::strncpy(block->name, name, kOsaServerNameSize - 1);
    block->name[kOsaServerNameSize - 1] = '\0';
    std::lock_guard<std::mutex> guard(keptLock);
    keptBlocks.push_back(std::move(block));
    return keptBlocks.back().get();
}

unsigned char* bytes(union SIGNAL* signal) {
    return reinterpret_cast<unsigned char*>(signal);
}

class SupportLoop {
  public:
    explicit SupportLoop(const char* processName) : m_processName(processName) {}

    void handle(union SIGNAL*& signal) {
        SIGSELECT sigNo;
        std::memcpy(&sigNo, signal, sizeof sigNo);
        switch (sigNo) {
            case OSA_IF_SUPPORT_REQ:
                request(signal);
                break;
            case OSA_IF_SUPPORT_SERVER_DOWN:
                serverDown(signal);
                break;
            default:
                TRACE_GROUP(traceGroups::OSA_PRI_IF, 1, "%s: unknown signal 0x%x from 0x%x dropped",
                            m_processName, sigNo, sender(&signal));
                break;
        }
        if (signal != nullptr) {
            free_buf(&signal);
        }
    }

  private:
    void request(union SIGNAL*& signal) {
        const OSBUFSIZE size = sigsize(&signal);
        const PROCESS from = sender(&signal);
        const char* name = reinterpret_cast<const char*>(bytes(signal) + osaifsupport::kNameOffset);
        if (size <= osaifsupport::kNameOffset ||
            std::memchr(name, '\0', size - osaifsupport::kNameOffset) == nullptr) {
            TRACE_GROUP(traceGroups::OSA_PRI_IF, 1,
                        "%s: malformed signal 0x%x of %u bytes from 0x%x dropped", m_processName,
                        OSA_IF_SUPPORT_REQ, static_cast<unsigned>(size), from);
            return;
        }
        PROCESS pid;
        std::memcpy(&pid, bytes(signal) + osaifsupport::kPidOffset, sizeof pid);
        OsaServerBlock* block = nullptr;
        uint16_t status = 0;
        if (std::strlen(name) >= kOsaServerNameSize) {
            TRACE_GROUP(traceGroups::OSA_PRI_IF, 1, "%s: server name %s longer than %u",
                        m_processName, name, static_cast<unsigned>(kOsaServerNameSize - 1));
            status = osaifsupport::kStatusNameTooLong;
        } else {
            block = supervise(name, pid);
        }
        const uintptr_t address = reinterpret_cast<uintptr_t>(block);
        std::memcpy(bytes(signal) + osaifsupport::kBlockOffset, &address, sizeof address);
        std::memcpy(bytes(signal) + osaifsupport::kStatusOffset, &status, sizeof status);
        send(&signal, from);
    }

    OsaServerBlock* supervise(const char* name, PROCESS pid) {
        OsaServerBlock* block = find(name);
        if (block == nullptr) {
            block = newBlock(name);
            if (m_last == nullptr) {
                m_first = block;
            } else {
                m_last->next = block;
            }
            m_last = block;
        }
        const PROCESS before = block->pid.exchange(pid);
        // A server that replaced one whose end has not been seen yet is supervised too:
        // the old one's attach signal then finds no block and changes nothing.
        if (block->status == 0 || before != pid) {
            union SIGNAL* down = alloc(sizeof(SIGSELECT), OSA_IF_SUPPORT_SERVER_DOWN);
            attach(&down, pid);
        }
        block->status = 1;
        return block;
    }

    void serverDown(union SIGNAL* signal) {
        const PROCESS gone = sender(&signal);
        for (OsaServerBlock* block = m_first; block != nullptr; block = block->next) {
            if (block->pid == gone && block->status != 0) {
                block->status = 0;
                TRACE_GROUP(traceGroups::OSA_PRI_IF, 9, "%s: server %s (0x%x) has ended",
                            m_processName, block->name, gone);
                return;
            }
        }
        TRACE_GROUP(traceGroups::OSA_PRI_IF, 1, "%s: end of 0x%x, which is no server in use",
                    m_processName, gone);
    }

    OsaServerBlock* find(const char* name) const {
        for (OsaServerBlock* block = m_first; block != nullptr; block = block->next) {
            if (std::strcmp(block->name, name) == 0) {
                return block;
            }
        }
        return nullptr;
    }

    const char* m_processName;
    OsaServerBlock* m_first = nullptr;
    OsaServerBlock* m_last = nullptr;
};

}  // namespace

namespace osaifsupport {

void serve(const char* processName) {
    SupportLoop loop(processName);
    static const SIGSELECT anySignal[] = {0};
    for (;;) {
        union SIGNAL* signal = receive(anySignal);
        if (signal == nullptr) {
            return;  // the process is being ended
        }
        loop.handle(signal);
    }
}

}  // namespace osaifsupport

OS_PROCESS(Vq_IfSupport_proc) {
    osaifsupport::serve("Vq_IfSupport_proc");
}

OS_PROCESS(Osa_IfSupport_proc) {
    osaifsupport::serve(kOsaIfSupportProcName);
}
