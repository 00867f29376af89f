// TraceMaskRules: the rules that decide each trace object's mask.
//
// A rule is a pattern and a mask. A pattern is a full name, or a prefix followed by
// '*'. Rules are kept in order and the last one that matches a name wins, so that a
// rule set at run time overrides the start value for the names it matches.
#ifndef TRACE_MASK_RULES_H
#define TRACE_MASK_RULES_H

#include <cstdint>
#include <string>
#include <vector>

class TraceMaskRules {
  public:
    struct Rule {
        std::string pattern;  // as written, '*' included
        uint32_t mask;
    };

    /// Parses a rule list "pattern=levels,pattern=levels". A rule that does not parse
    /// is skipped and described in warnings; the others are kept.
    static std::vector<Rule> parse(const std::string& text, std::vector<std::string>& warnings);

    /// Parses one level list: numbers 0..31 and ranges "a-b" joined by '+', or "all",
    /// "none", or a raw mask "0x...". False for anything else.
    static bool parseLevels(const std::string& text, uint32_t& mask);

    /// True for "name" or "prefix*" with no ',', '=', blank or inner '*'.
    static bool validPattern(const std::string& pattern);

    /// Whether the pattern matches the name; a wildcard pattern only when wildcards
    /// is true (the default object is only named by its full name).
    static bool matches(const std::string& pattern, const std::string& name, bool wildcards);

    /// Replaces every rule.
    void assign(std::vector<Rule> rules) { m_rules = std::move(rules); }

    /// Adds a rule at the end, dropping an earlier rule with the same pattern.
    void add(const Rule& rule);

    /// The mask of the last rule matching name, or fallback when none does.
    uint32_t maskFor(const std::string& name, bool wildcards, uint32_t fallback) const;

  private:
    std::vector<Rule> m_rules;
};

#endif  // TRACE_MASK_RULES_H
