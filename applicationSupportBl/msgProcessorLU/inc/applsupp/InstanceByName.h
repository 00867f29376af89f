// applsupp::InstanceByName: a process-wide object held under a key in the kernel's
// environment of process 0, the load module's block.
//
//   constexpr applsupp::InstanceByName<SignalDistributor> kDistributor{"SigSubcsrAPIPtrName"};
//   SignalDistributor* d = kDistributor.get();   // made on first use
//   kDistributor.destroy();                      // deleted, key set to null
//
// The objects of the module's one process have no owner of their own and no global
// variable: the key is the only reference. There is no lock: all users run in the
// main process, and the first caller of the getter decides when the object is made.
#ifndef APPLSUPP_INSTANCE_BY_NAME_H
#define APPLSUPP_INSTANCE_BY_NAME_H

#include "ose.h"

namespace applsupp {

template <typename T>
class InstanceByName {
  public:
    explicit constexpr InstanceByName(const char* key) noexcept : m_key(key) {}

    /// The key text in the environment.
    constexpr const char* key() const noexcept { return m_key; }

    /// The stored object, or null; makes nothing.
    T* find() const { return reinterpret_cast<T*>(get_envp(0, m_key)); }

    /// The stored object; when there is none, the one make() returns, stored under the
    /// key. A null from make() stores nothing. make() may itself call other getters.
    template <typename Make>
    T* get(Make&& make) const {
        if (T* existing = find()) {
            return existing;
        }
        T* created = make();
        if (created != nullptr) {
            set_envp(0, m_key, reinterpret_cast<OSADDRESS>(created));
        }
        return created;
    }

    /// The stored object, made with new T() when there is none.
    T* get() const {
        return get([] { return new T(); });
    }

    /// Ends the stored object with destroy(object); nothing when there is none. The key
    /// is cleared first, so that a destructor that looks the key up does not find the
    /// object it is destroying.
    template <typename Destroy>
    void destroy(Destroy&& destroyObject) const {
        T* existing = find();
        if (existing == nullptr) {
            return;
        }
        set_envp(0, m_key, 0);
        destroyObject(existing);
    }

    /// Deletes the stored object; nothing when there is none.
    void destroy() const {
        destroy([](T* object) { delete object; });
    }

  private:
    const char* m_key;
};

}  // namespace applsupp

#endif  // APPLSUPP_INSTANCE_BY_NAME_H
