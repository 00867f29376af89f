// Environment: values by name per process; pid 0 is the load module's block.
//
// Pointer values (get_envp/set_envp) and text values (get_env/set_env) are kept
// apart: a name set as a pointer is not readable as text, nor the other way round.
// The load module's singletons read their pointer on every use, so lookups take
// the name as it comes, without building a string.
#ifndef OSE_ENVIRONMENT_H
#define OSE_ENVIRONMENT_H

#include "ose.h"

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <unordered_map>

namespace ose {

class Environment {
  public:
    /// The pointer value of name, 0 when unset.
    OSADDRESS pointer(PROCESS pid, const char* name) const;
    void setPointer(PROCESS pid, const char* name, OSADDRESS value);
    /// The text value of name into out; false when unset.
    bool text(PROCESS pid, const char* name, std::string& out) const;
    /// Sets a text value; a null value unsets it.
    void setText(PROCESS pid, const char* name, const char* value);
    /// Forgets every value of a process that ended.
    void forget(PROCESS pid);
    /// Forgets everything.
    void clear();

  private:
    struct Values {
        std::map<std::string, OSADDRESS, std::less<>> pointers;
        std::map<std::string, std::string, std::less<>> texts;
    };

    mutable std::mutex m_mutex;
    std::unordered_map<PROCESS, Values> m_values;  // guarded by m_mutex
};

}  // namespace ose

#endif  // OSE_ENVIRONMENT_H
