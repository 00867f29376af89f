// CommandLine: the options of the tools, read with every check. Bad input is a usage
// error (exit code 2) with a sentence that says which argument and why; nothing in
// an argument can crash a tool.
#ifndef ULSA_TOOLS_COMMAND_LINE_H
#define ULSA_TOOLS_COMMAND_LINE_H

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace ulsatools {

/// The exit codes of the tools.
enum ExitCode { kExitOk = 0, kExitRefused = 1, kExitUsage = 2 };

/// Thrown for wrong usage; what() is the sentence for the person.
struct UsageError {
    std::string text;
};

/// Arguments read against the options a command knows: "--name value",
/// "--name=value", flags without a value, and the remaining positional arguments.
class Arguments {
  public:
    /// valued: options that take a value (repeatable ones keep every value); flags:
    /// options without. "-o" style short names are given as they are written.
    Arguments(const std::vector<std::string>& args, const std::set<std::string>& valued,
              const std::set<std::string>& flags);

    bool has(const std::string& option) const { return m_values.count(option) != 0; }
    bool flag(const std::string& option) const { return m_flags.count(option) != 0; }
    /// The last value given, or fallback.
    std::string text(const std::string& option, const std::string& fallback = "") const;
    /// Every value given, in order.
    std::vector<std::string> all(const std::string& option) const;
    /// A whole number within [min, max]; UsageError otherwise.
    long long number(const std::string& option, long long fallback, long long min,
                     long long max) const;
    /// A decimal number; UsageError otherwise.
    double decimal(const std::string& option, double fallback) const;
    const std::vector<std::string>& positional() const { return m_positional; }

  private:
    std::map<std::string, std::vector<std::string>> m_values;
    std::set<std::string> m_flags;
    std::vector<std::string> m_positional;
};

/// Reads a whole number within [min, max] from text; false when it is none.
bool parseWhole(const std::string& text, long long min, long long max, long long& value);

}  // namespace ulsatools

#endif  // ULSA_TOOLS_COMMAND_LINE_H
