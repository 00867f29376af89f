// FroInfo: one stored fRO as the restore at start reads it from the database.
#ifndef FRO_INFO_H
#define FRO_INFO_H

#include <cstdint>
#include <string>

struct FroInfo {
    /// The external id, as the data table's froid holds it.
    uint32_t froId = 0;
    uint32_t froType = 0;
    std::string ldn;

    FroInfo() = default;
    FroInfo(uint32_t id, uint32_t type, std::string name)
        : froId(id), froType(type), ldn(std::move(name)) {}
};

#endif  // FRO_INFO_H
