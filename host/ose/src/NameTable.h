// NameTable: the names of live processes and the hunts that wait for a name.
//
// Not locked itself: the kernel guards it with its lock, so that "is the name there,
// else wait for it" and "the name appears, fire its hunts" cannot interleave.
#ifndef OSE_NAME_TABLE_H
#define OSE_NAME_TABLE_H

#include "BufferHeader.h"

#include <string>
#include <unordered_map>
#include <vector>

namespace ose {

struct PendingHunt {
    PROCESS hunter;
    BufferHeader* signal;
};

class NameTable {
  public:
    /// A process of that name came to life.
    void add(const std::string& name, PROCESS pid);
    /// A process of that name ended.
    void remove(const std::string& name, PROCESS pid);
    /// The oldest live process of that name, or 0.
    PROCESS find(const std::string& name) const;

    /// Keeps a hunt signal until a process of that name appears.
    void addHunt(const std::string& name, PROCESS hunter, BufferHeader* signal);
    /// Takes out the hunts waiting for that name, oldest first.
    std::vector<PendingHunt> takeHunts(const std::string& name);
    /// Takes out the signals of the hunts a process made.
    std::vector<BufferHeader*> dropHuntsBy(PROCESS hunter);
    /// The names that hunts wait for and that begin with prefix.
    std::vector<std::string> huntedNames(const std::string& prefix) const;
    /// Forgets everything; returns the signals of the waiting hunts.
    std::vector<BufferHeader*> clear();

  private:
    std::unordered_map<std::string, std::vector<PROCESS>> m_names;
    std::unordered_map<std::string, std::vector<PendingHunt>> m_hunts;
};

}  // namespace ose

#endif  // OSE_NAME_TABLE_H
