// MOCRegistrationItem: an MO type that has a fRO class of its own, with the function
// that allocates an object of that class. A registration made with a plain function
// owns its allocator; one made with a caller's function object holds it weakly and
// dies with the caller's allocator.
#ifndef MOC_REGISTRATION_ITEM_H
#define MOC_REGISTRATION_ITEM_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

class fRO;
class TraceHandle;

/// Makes a new fRO of a registered class; the factory owns the result.
using fROAllocator = std::function<fRO*()>;

class MOCRegistrationItem {
  public:
    /// A registration that holds the allocator weakly.
    MOCRegistrationItem(std::string regMoType, std::string regFroTypeName, int32_t regFroTypeId,
                        std::weak_ptr<fROAllocator> regAllocator);
    /// A registration that owns its allocator.
    MOCRegistrationItem(std::string regMoType, std::shared_ptr<fROAllocator> ownAllocator);
    virtual ~MOCRegistrationItem();

    /// The new fRO, or null with a trace when the allocator has expired or is empty.
    fRO* allocatefRO() const;
    /// Whether the allocator is still alive.
    bool hasAllocator() const { return !allocator.expired(); }

    const std::string& getMoType() const { return moType; }
    const std::string& getFroTypeName() const { return froTypeName; }
    /// -1 for a registration made with a plain function.
    int32_t getFroTypeId() const { return froTypeId; }

  private:
    std::string moType;
    std::string froTypeName;
    int32_t froTypeId;
    std::weak_ptr<fROAllocator> allocator;
    std::shared_ptr<fROAllocator> ownedAllocator;
    const TraceHandle* trace;
};

#endif  // MOC_REGISTRATION_ITEM_H
