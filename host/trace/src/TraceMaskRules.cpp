#include "TraceMaskRules.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace {

constexpr unsigned kMaxLevel = 31;

std::string trim(const std::string& text) {
    std::size_t begin = 0;
    std::size_t end = text.size();
    while (begin < end && std::isspace(static_cast<unsigned char>(text[begin])) != 0) {
        ++begin;
    }
    while (end > begin && std::isspace(static_cast<unsigned char>(text[end - 1])) != 0) {
        --end;
    }
    return text.substr(begin, end - begin);
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (;;) {
        const std::size_t pos = text.find(separator, start);
        parts.push_back(
            text.substr(start, pos == std::string::npos ? std::string::npos : pos - start));
        if (pos == std::string::npos) {
            return parts;
        }
        start = pos + 1;
    }
}

// A decimal level 0..31 and nothing else: no sign, no blanks, at most two digits.
bool parseLevel(const std::string& text, unsigned& level) {
    if (text.empty() || text.size() > 2) {
        return false;
    }
    unsigned value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') {
            return false;
        }
        value = value * 10 + static_cast<unsigned>(c - '0');
    }
    if (value > kMaxLevel) {
        return false;
    }
    level = value;
    return true;
}

bool parseHexMask(const std::string& text, uint32_t& mask) {
    if (text.size() < 3 || text.size() > 10 || text[0] != '0' ||
        (text[1] != 'x' && text[1] != 'X')) {
        return false;
    }
    uint32_t value = 0;
    for (std::size_t i = 2; i < text.size(); ++i) {
        const int c = std::tolower(static_cast<unsigned char>(text[i]));
        if (std::isxdigit(c) == 0) {
            return false;
        }
        value = (value << 4) | static_cast<uint32_t>(c <= '9' ? c - '0' : c - 'a' + 10);
    }
    mask = value;
    return true;
}

}  // namespace

bool TraceMaskRules::parseLevels(const std::string& text, uint32_t& mask) {
    const std::string levels = trim(text);
    if (levels == "all") {
        mask = 0xFFFFFFFFu;
        return true;
    }
    if (levels == "none") {
        mask = 0;
        return true;
    }
    if (parseHexMask(levels, mask)) {
        return true;
    }
    uint32_t result = 0;
    for (const std::string& rawItem : split(levels, '+')) {
        const std::string item = trim(rawItem);
        const std::size_t dash = item.find('-');
        unsigned first = 0;
        unsigned last = 0;
        if (dash == std::string::npos) {
            if (!parseLevel(item, first)) {
                return false;
            }
            last = first;
        } else if (!parseLevel(trim(item.substr(0, dash)), first) ||
                   !parseLevel(trim(item.substr(dash + 1)), last) || first > last) {
            return false;
        }
        for (unsigned level = first; level <= last; ++level) {
            result |= 1u << level;
        }
    }
    mask = result;
    return true;
}

bool TraceMaskRules::validPattern(const std::string& pattern) {
    if (pattern.empty()) {
        return false;
    }
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const char c = pattern[i];
        if (c == ',' || c == '=' || std::isspace(static_cast<unsigned char>(c)) != 0 ||
            std::iscntrl(static_cast<unsigned char>(c)) != 0) {
            return false;
        }
        if (c == '*' && i + 1 != pattern.size()) {
            return false;
        }
    }
    return true;
}

bool TraceMaskRules::matches(const std::string& pattern, const std::string& name, bool wildcards) {
    if (!pattern.empty() && pattern.back() == '*') {
        return wildcards &&
               name.compare(0, pattern.size() - 1, pattern, 0, pattern.size() - 1) == 0;
    }
    return pattern == name;
}

std::vector<TraceMaskRules::Rule> TraceMaskRules::parse(const std::string& text,
                                                        std::vector<std::string>& warnings) {
    std::vector<Rule> rules;
    if (trim(text).empty()) {
        return rules;
    }
    for (const std::string& rawRule : split(text, ',')) {
        const std::string ruleText = trim(rawRule);
        if (ruleText.empty()) {
            continue;  // "a=1," or "a=1,,b=2": nothing to apply
        }
        const std::size_t equals = ruleText.find('=');
        if (equals == std::string::npos) {
            warnings.push_back("'" + ruleText +
                               "' is no pattern=levels rule (levels are joined with '+'), skipped");
            continue;
        }
        const std::string pattern = trim(ruleText.substr(0, equals));
        if (!validPattern(pattern)) {
            warnings.push_back("'" + ruleText + "': malformed pattern '" + pattern + "', skipped");
            continue;
        }
        uint32_t mask = 0;
        if (!parseLevels(ruleText.substr(equals + 1), mask)) {
            warnings.push_back(
                "'" + ruleText +
                "': levels must be 0..31 or a-b joined with '+', all, none or 0x..., "
                "skipped");
            continue;
        }
        rules.push_back(Rule{pattern, mask});
    }
    return rules;
}

void TraceMaskRules::add(const Rule& rule) {
    m_rules.erase(std::remove_if(m_rules.begin(), m_rules.end(),
                                 [&rule](const Rule& r) { return r.pattern == rule.pattern; }),
                  m_rules.end());
    m_rules.push_back(rule);
}

uint32_t TraceMaskRules::maskFor(const std::string& name, bool wildcards, uint32_t fallback) const {
    for (auto it = m_rules.rbegin(); it != m_rules.rend(); ++it) {
        if (matches(it->pattern, name, wildcards)) {
            return it->mask;
        }
    }
    return fallback;
}
