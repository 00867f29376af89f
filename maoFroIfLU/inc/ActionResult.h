// ActionResult: what a fRO hands back when an action it was given is done.
#ifndef ACTION_RESULT_H
#define ACTION_RESULT_H

#include <cstdint>
#include <string>
#include <vector>

struct ActionResult {
    /// 0 for success; any other value is the confirm's result.
    uint32_t result = 0;
    /// Must be the name of the action that was requested, or the answer finds no request.
    std::string actionName;
    /// Names, types and values (as text) of what the action returns, by index.
    std::vector<std::string> attrNames;
    std::vector<std::string> attrTypes;
    std::vector<std::string> attrValues;
    /// The confirm's text when result is not 0.
    std::string errorText;
};

#endif  // ACTION_RESULT_H
