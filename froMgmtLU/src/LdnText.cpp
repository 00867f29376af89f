#include "LdnText.h"

#include <algorithm>

std::string getMoType(const std::string& ldn) {
    const std::size_t comma = ldn.rfind(',');
    const std::size_t start = comma == std::string::npos ? 0 : comma + 1;
    const std::size_t equals = ldn.rfind('=');
    // Without "=" in the last part, the whole last part is the type.
    if (equals == std::string::npos || equals < start) {
        return ldn.substr(start);
    }
    return ldn.substr(start, equals - start);
}

std::string getInstance(const std::string& ldn) {
    const std::size_t equals = ldn.rfind('=');
    return equals == std::string::npos ? ldn : ldn.substr(equals + 1);
}

std::string getParentLdn(const std::string& ldn) {
    const std::size_t comma = ldn.rfind(',');
    return comma == std::string::npos ? std::string() : ldn.substr(0, comma);
}

int countParts(const std::string& ldn) {
    return static_cast<int>(std::count(ldn.begin(), ldn.end(), '='));
}

bool isBelow(const std::string& parentLdn, const std::string& ldn) {
    return ldn.size() > parentLdn.size() && ldn.compare(0, parentLdn.size(), parentLdn) == 0 &&
           ldn[parentLdn.size()] == ',';
}

std::string cutBehindType(const std::string& ldn, const std::string& moType) {
    const std::size_t place = ldn.rfind(moType);
    if (place == std::string::npos) {
        return std::string();
    }
    const std::size_t comma = ldn.find(',', place);
    return comma == std::string::npos ? ldn : ldn.substr(0, comma);
}
