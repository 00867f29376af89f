// The text form of an LDN: parts divided by ",", each of the form type "=" instance,
// for example "ManagedElement=1,EquipmentSupportFunction=1". There is no escaping
// and no validation: the functions work with the last "," and the last "=".
#ifndef LDN_TEXT_H
#define LDN_TEXT_H

#include <string>

/// The text from behind the last "," (or from the start) up to the last "=".
std::string getMoType(const std::string& ldn);
/// The text behind the last "=".
std::string getInstance(const std::string& ldn);
/// The text before the last ",", empty when there is none.
std::string getParentLdn(const std::string& ldn);
/// How many "=" the text has.
int countParts(const std::string& ldn);
/// True when ldn is longer than parentLdn, starts with it and has "," at that position.
bool isBelow(const std::string& parentLdn, const std::string& ldn);
/// The text up to the next "," behind the last occurrence of moType; empty when there is none.
std::string cutBehindType(const std::string& ldn, const std::string& moType);

#endif  // LDN_TEXT_H
