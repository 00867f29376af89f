#include "SqlDialect.h"

#include <cctype>
#include <cstddef>
#include <string>

namespace hostdb {

namespace {

bool isWordStart(char c) {
    return std::isalpha(static_cast<unsigned char>(c)) != 0 || c == '_';
}

bool isWordChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '$';
}

std::string lowerCase(const std::string& text) {
    std::string lower(text);
    for (char& c : lower)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower;
}

class DialectMapper {
  public:
    explicit DialectMapper(const std::string& in) : m_in(in) { m_out.reserve(in.size()); }

    std::string run() {
        while (m_pos < m_in.size()) {
            const char c = m_in[m_pos];
            if (c == '\'' || c == '"')
                copyQuoted(c);
            else if (c == '-' && peek(1) == '-')
                copyUntil("\n");
            else if (c == '/' && peek(1) == '*')
                copyUntil("*/");
            else if (isWordStart(c))
                word();
            else
                m_out += m_in[m_pos++];
        }
        return m_out;
    }

  private:
    char peek(std::size_t ahead) const {
        return m_pos + ahead < m_in.size() ? m_in[m_pos + ahead] : '\0';
    }

    std::size_t skipSpaces(std::size_t at) const {
        while (at < m_in.size() && std::isspace(static_cast<unsigned char>(m_in[at])) != 0)
            ++at;
        return at;
    }

    char at(std::size_t index) const { return index < m_in.size() ? m_in[index] : '\0'; }

    // A quoted text or name, with its doubled quotes; an unterminated one runs to the end.
    void copyQuoted(char quote) {
        std::size_t end = m_pos + 1;
        for (;;) {
            end = m_in.find(quote, end);
            if (end == std::string::npos) {
                end = m_in.size();
                break;
            }
            if (at(end + 1) == quote) {
                end += 2;
                continue;
            }
            ++end;
            break;
        }
        m_out.append(m_in, m_pos, end - m_pos);
        m_pos = end;
    }

    void copyUntil(const char* terminator) {
        std::size_t end = m_in.find(terminator, m_pos + 2);
        end = end == std::string::npos ? m_in.size()
                                       : end + std::char_traits<char>::length(terminator);
        m_out.append(m_in, m_pos, end - m_pos);
        m_pos = end;
    }

    void word() {
        std::size_t end = m_pos;
        while (end < m_in.size() && isWordChar(m_in[end]))
            ++end;
        const std::string original = m_in.substr(m_pos, end - m_pos);
        const std::string lower = lowerCase(original);
        if (!m_firstWordSeen) {
            m_firstWordSeen = true;
            m_create = lower == "create";
        }
        if (lower == "varchar" && unboundedVarchar(end))
            return;
        if (m_create && lower == "persistent" && dropPersistent(end))
            return;
        m_out += original;
        m_pos = end;
    }

    // "varchar ( 0 )" becomes "text".
    bool unboundedVarchar(std::size_t afterWord) {
        std::size_t k = skipSpaces(afterWord);
        if (at(k) != '(')
            return false;
        k = skipSpaces(k + 1);
        if (at(k) != '0')
            return false;
        k = skipSpaces(k + 1);
        if (at(k) != ')')
            return false;
        m_out += "text";
        m_pos = k + 1;
        return true;
    }

    // "persistent" as a table option: first item of the column list, last item, or
    // between "create" and "table". A column of that name stays.
    bool dropPersistent(std::size_t afterWord) {
        const std::size_t k = skipSpaces(afterWord);
        if (at(k) == ',') {
            m_pos = skipSpaces(k + 1);
            return true;
        }
        if (at(k) == ')') {
            trimOutput();
            if (!m_out.empty() && m_out.back() == ',') {
                m_out.pop_back();
                trimOutput();
            }
            m_pos = k;
            return true;
        }
        std::size_t next = k;
        while (next < m_in.size() && isWordChar(m_in[next]))
            ++next;
        if (lowerCase(m_in.substr(k, next - k)) == "table") {
            m_pos = k;
            return true;
        }
        return false;
    }

    void trimOutput() {
        while (!m_out.empty() && std::isspace(static_cast<unsigned char>(m_out.back())) != 0)
            m_out.pop_back();
    }

    const std::string& m_in;
    std::string m_out;
    std::size_t m_pos = 0;
    bool m_firstWordSeen = false;
    bool m_create = false;
};

}  // namespace

std::string mapPlatformSql(const std::string& statement) {
    return DialectMapper(statement).run();
}

}  // namespace hostdb
