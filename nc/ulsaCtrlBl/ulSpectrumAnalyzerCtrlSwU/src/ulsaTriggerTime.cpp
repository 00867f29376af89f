#include "ulsaTriggerTime.h"

#include <cctype>

bool ulsaTriggerTextMatches(const std::string& text, const char* pattern) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char expected = pattern[i];
        if (std::tolower(static_cast<unsigned char>(text[i])) !=
            std::tolower(static_cast<unsigned char>(expected))) {
            return false;
        }
        if (expected == '\0') {
            return true;  // both texts end here
        }
    }
    return true;
}
