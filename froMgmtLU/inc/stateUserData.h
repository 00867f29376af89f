// stateUserData: the record of a managed object's state that flows down from a
// parent to its children and up from children to the parent.
#ifndef STATE_USER_DATA_H
#define STATE_USER_DATA_H

#include <cstdint>
#include <string>

class stateUserData {
  public:
    stateUserData() = default;
    stateUserData(const stateUserData& other) = default;
    stateUserData& operator=(const stateUserData& other) = default;
    virtual ~stateUserData() = default;

    /// "stateUserData".
    virtual std::string getName() const { return "stateUserData"; }

    /// Compares the six fields.
    bool operator==(const stateUserData& other) const {
        return word1 == other.word1 && froId == other.froId && word3 == other.word3 &&
               operationalState == other.operationalState &&
               availabilityStatus == other.availabilityStatus &&
               administrativeState == other.administrativeState;
    }
    bool operator!=(const stateUserData& other) const { return !(*this == other); }

    uint32_t word1 = 0;  // copied along; the framework does not read it
    uint32_t froId = 0;  // id of the fRO that reported
    uint32_t word3 = 0;  // copied along; the framework does not read it
    std::string operationalState;
    std::string availabilityStatus;
    std::string administrativeState;
};

#endif  // STATE_USER_DATA_H
