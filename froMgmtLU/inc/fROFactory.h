// fROFactory: the one place where fROs are made and ended. It knows which MO types
// have a class of their own (MOCRegistrationItem), which read-only attributes each
// MO type gets at birth, and gives every fRO its id through FroIdHandler. An MO type
// without registration is no failure: it gets a dummy_fRO. Failures give an empty
// pointer; the reason is in the trace at level 8.
#ifndef FRO_FACTORY_H
#define FRO_FACTORY_H

#include "MOCRegistrationItem.h"
#include "ReadOnlyAttribute.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

class fRO;
class TraceHandle;

class fROFactory {
  public:
    /// The process-wide instance, made on first use.
    static fROFactory& instance();
    /// Destroys the instance (froMgr's destructor does, after clearing itself).
    static void destroyInstance();

    fROFactory();
    ~fROFactory();
    fROFactory(const fROFactory&) = delete;
    fROFactory& operator=(const fROFactory&) = delete;

    /// A new fRO of the LDN's MO type with its id; empty on failure.
    /// A negative external id asks for a new one; without reserveId the id is shared with its
    /// holder.
    std::shared_ptr<fRO> createFRO(const std::string& ldn, uint32_t fROType, int32_t externalFroId,
                                   bool createDummy, bool addReadOnly, bool reserveId);
    /// Runs prepareForDeletion unless the fRO is in state 3, and resets the pointer.
    void deleteFRO(std::shared_ptr<fRO>& fro);
    /// Adds the read-only attributes of the LDN's MO type to the fRO.
    void addROAttr(const std::shared_ptr<fRO>& fro, const std::string& ldn);

    /// Registers a class by a plain allocation function; the first registration of a type stays.
    void regMOType(const std::string& motype, fRO* (*allocate)());
    /// Registers a class by the caller's allocator, held weakly; empty when the type is taken.
    std::shared_ptr<MOCRegistrationItem> createMOTypeRegistration(
        const std::string& motype, const std::string& froTypeName, int32_t froTypeId,
        const std::weak_ptr<fROAllocator>& allocator);
    /// Removes the registration of the MO type.
    void deleteMOCRegistration(const std::string& motype);
    /// Removes the first registration with that froTypeId.
    void deleteMOCRegistration(int32_t fROTypeId);
    /// The registration of the MO type, or empty.
    std::shared_ptr<MOCRegistrationItem> findMOCRegistration(const std::string& motype) const;
    /// The first registration with that froTypeId, or empty.
    std::shared_ptr<MOCRegistrationItem> findMOCRegistration(int32_t fROTypeId) const;
    /// All registrations in key order.
    std::vector<std::shared_ptr<MOCRegistrationItem>> getMOCRegistrations() const;
    /// Removes all registrations.
    void clearMOCRegistrations();

    /// Adds a read-only attribute behind the others of the MO type; empty when the name is there.
    std::shared_ptr<ReadOnlyAttribute> addReadOnlyAttribute(const std::string& froName,
                                                            const std::string& name,
                                                            const std::string& type,
                                                            const std::string& value);
    /// Removes the first read-only attribute of that name and MO type.
    void deleteReadOnlyAttribute(const std::string& froName, const std::string& name);
    /// The read-only attribute, or empty.
    std::shared_ptr<ReadOnlyAttribute> getReadOnlyAttribute(const std::string& froName,
                                                            const std::string& name) const;
    /// The read-only attributes of the MO type, in order of insertion.
    std::vector<std::shared_ptr<ReadOnlyAttribute>> getReadOnlyAttributes(
        const std::string& froName) const;
    /// Removes every read-only attribute.
    void removeAllReadOnlyAttributes();

  private:
    std::map<std::string, std::shared_ptr<MOCRegistrationItem>> registrations;
    std::multimap<std::string, std::shared_ptr<ReadOnlyAttribute>> readOnlyAttributes;
    const TraceHandle* trace;
};

#endif  // FRO_FACTORY_H
