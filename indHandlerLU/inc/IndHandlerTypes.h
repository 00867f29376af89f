// IndHandlerTypes: the value types of the indication handler's interfaces.
#ifndef IND_HANDLER_TYPES_H
#define IND_HANDLER_TYPES_H

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

class GenericAttribute;

/// One subscription: (froType, pid).
using IndSubscription = std::pair<uint32_t, uint32_t>;
/// Subscriptions in (froType, pid) order.
using IndSubscriptions = std::vector<IndSubscription>;
/// Attributes of a parameter indication in their typed form, by name; not owned.
using GenericAttributeMap = std::map<std::string, GenericAttribute*>;
/// The texts of a fault's additionalData, in order.
using AdditionalData = std::vector<std::string>;

#endif  // IND_HANDLER_TYPES_H
