#include "MOCRegistrationItem.h"

#include "froMgmtTrace.h"

MOCRegistrationItem::MOCRegistrationItem(std::string regMoType, std::string regFroTypeName,
                                         int32_t regFroTypeId,
                                         std::weak_ptr<fROAllocator> regAllocator)
    : moType(std::move(regMoType)),
      froTypeName(std::move(regFroTypeName)),
      froTypeId(regFroTypeId),
      allocator(std::move(regAllocator)),
      trace(&froMgmtTrace()) {}

MOCRegistrationItem::MOCRegistrationItem(std::string regMoType,
                                         std::shared_ptr<fROAllocator> ownAllocator)
    : moType(regMoType),
      froTypeName(std::move(regMoType)),
      froTypeId(-1),
      allocator(ownAllocator),
      ownedAllocator(std::move(ownAllocator)),
      trace(&froMgmtTrace()) {}

MOCRegistrationItem::~MOCRegistrationItem() = default;

fRO* MOCRegistrationItem::allocatefRO() const {
    const std::shared_ptr<fROAllocator> allocate = allocator.lock();
    if (!allocate) {
        TRACE(*trace, 0, "Registered fRO creation callback has expired. Unable to create fRO.");
        return nullptr;
    }
    if (!*allocate) {
        TRACE(*trace, 0,
              "Registered fRO creation callback is an empty function object. Unable to create "
              "fRO.");
        return nullptr;
    }
    return (*allocate)();
}
