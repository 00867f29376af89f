#include "dummy_fRO.h"

dummy_fRO::dummy_fRO(std::string moTypeName) : moType(std::move(moTypeName)) {}

dummy_fRO::~dummy_fRO() = default;

std::string dummy_fRO::getSubjectName() const {
    return moType;
}
