// The process-wide name-server client, held in the environment of the load module's block.
#include "plab/nameserver/v1/NameServerOse.h"

namespace plab::nameserver::v1 {

namespace {
const char* const kNameServerKey = "NameServerKeyName";
}  // namespace

NameServer* getNameServer() {
    // The key holds a NameServerOse, as every maker of this instance stores it.
    if (auto* existing = reinterpret_cast<NameServerOse*>(get_envp(0, kNameServerKey)))
        return existing;
    NameServerOse* created = new NameServerOse();
    set_envp(0, kNameServerKey, reinterpret_cast<OSADDRESS>(created));
    return created;
}

void destroyNameServer() {
    auto* existing = reinterpret_cast<NameServerOse*>(get_envp(0, kNameServerKey));
    if (existing == nullptr)
        return;
    // Cleared first, so that nothing the destructor calls finds the object it ends.
    set_envp(0, kNameServerKey, 0);
    delete existing;
}

}  // namespace plab::nameserver::v1
