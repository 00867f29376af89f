#include "CommandLine.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>

namespace ulsatools {

bool parseWhole(const std::string& text, long long min, long long max, long long& value) {
    if (text.empty())
        return false;
    char* end = nullptr;
    errno = 0;
    const long long read = std::strtoll(text.c_str(), &end, 10);
    if (errno != 0 || end == text.c_str() || *end != '\0' || read < min || read > max)
        return false;
    value = read;
    return true;
}

Arguments::Arguments(const std::vector<std::string>& args, const std::set<std::string>& valued,
                     const std::set<std::string>& flags) {
    bool optionsEnded = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (optionsEnded || arg.size() < 2 || arg[0] != '-') {
            m_positional.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        std::string name = arg;
        std::string value;
        bool inlineValue = false;
        if (const std::size_t eq = arg.find('='); arg.rfind("--", 0) == 0 && eq != std::string::npos) {
            name = arg.substr(0, eq);
            value = arg.substr(eq + 1);
            inlineValue = true;
        }
        if (flags.count(name) != 0 && !inlineValue) {
            m_flags.insert(name);
        } else if (valued.count(name) != 0) {
            if (!inlineValue) {
                if (i + 1 >= args.size())
                    throw UsageError{name + " needs a value"};
                value = args[++i];
            }
            m_values[name].push_back(value);
        } else {
            throw UsageError{"unknown option " + name};
        }
    }
}

std::string Arguments::text(const std::string& option, const std::string& fallback) const {
    const auto found = m_values.find(option);
    return found == m_values.end() ? fallback : found->second.back();
}

std::vector<std::string> Arguments::all(const std::string& option) const {
    const auto found = m_values.find(option);
    return found == m_values.end() ? std::vector<std::string>{} : found->second;
}

long long Arguments::number(const std::string& option, long long fallback, long long min,
                            long long max) const {
    if (!has(option))
        return fallback;
    long long value = 0;
    if (!parseWhole(text(option), min, max, value)) {
        throw UsageError{option + " takes a whole number from " + std::to_string(min) + " to " +
                         std::to_string(max) + ", not \"" + text(option) + "\""};
    }
    return value;
}

double Arguments::decimal(const std::string& option, double fallback) const {
    if (!has(option))
        return fallback;
    const std::string value = text(option);
    char* end = nullptr;
    errno = 0;
    const double read = std::strtod(value.c_str(), &end);
    if (value.empty() || errno != 0 || *end != '\0' || !std::isfinite(read))
        throw UsageError{option + " takes a number, not \"" + value + "\""};
    return read;
}

}  // namespace ulsatools
