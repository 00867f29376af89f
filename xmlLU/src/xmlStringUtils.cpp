#include "xmlStringUtils.h"

#include <cstdio>

namespace {

// Replaces every occurrence of pattern by the character, until none is left.
// Searching on from the replaced place catches the occurrences that a replacement
// creates ("&amp;amp;" becomes "&amp;" and then "&").
void replaceAll(std::string& text, const std::string& pattern, char replacement) {
    std::size_t position = text.find(pattern);
    while (position != std::string::npos) {
        text.replace(position, pattern.size(), 1, replacement);
        position = text.find(pattern, position);
    }
}

}  // namespace

namespace {

// Whether text holds a character that escapeXml replaces.
bool needsEscape(const std::string& text) {
    for (const char c : text) {
        if (c == '&' || c == '<' || c == '>' || c == '\'' || c == '"') {
            return true;
        }
    }
    return false;
}

}  // namespace

std::string escapeXml(const std::string& text) {
    if (!needsEscape(text)) {
        return text;  // nothing to escape, the common case
    }
    std::string escaped;
    escaped.reserve(text.size() + text.size() / 8);
    appendEscapedXml(text, escaped);
    return escaped;
}

void appendEscapedXml(const std::string& text, std::string& escaped) {
    if (!needsEscape(text)) {
        escaped += text;  // nothing to escape, the common case
        return;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        switch (c) {
            case '&':
                // An existing "&amp;" is left alone; any other entity is escaped again.
                escaped += text.compare(i + 1, 4, "amp;") == 0 ? "&" : "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '\'':
                escaped += "&apos;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            default:
                escaped += c;
        }
    }
}

std::string escapeXml(const char* text) {
    if (text == nullptr) {
        return std::string();
    }
    std::string plain(text);
    return needsEscape(plain) ? escapeXml(plain) : plain;
}

namespace {

// The replacements of unescapeXml, done in place.
void unescapeInPlace(std::string& plain) {
    if (plain.find('&') == std::string::npos) {
        return;  // nothing to replace, the common case
    }
    replaceAll(plain, "&lt;", '<');
    replaceAll(plain, "&gt;", '>');
    replaceAll(plain, "&apos;", '\'');
    replaceAll(plain, "&quot;", '"');
    replaceAll(plain, "&amp;", '&');
}

}  // namespace

std::string unescapeXml(const std::string& text) {
    std::string plain = text;
    unescapeInPlace(plain);
    return plain;
}

std::string unescapeXml(const char* text) {
    std::string plain = text != nullptr ? std::string(text) : std::string();
    unescapeInPlace(plain);
    return plain;
}

std::string quoteSql(const std::string& text) {
    std::string quoted;
    quoted.reserve(text.size());
    for (const char c : text) {
        quoted += c;
        if (c == '\'') {
            quoted += '\'';
        }
    }
    return quoted;
}

std::string toLower(const std::string& text) {
    std::string lower = text;
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return lower;
}

std::string toUpper(const std::string& text) {
    std::string upper = text;
    for (char& c : upper) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return upper;
}

void tokenize(const std::string& text, const std::string& delimiters,
              std::vector<std::string>& out) {
    std::size_t start = text.find_first_not_of(delimiters);
    while (start != std::string::npos) {
        const std::size_t end = text.find_first_of(delimiters, start);
        out.push_back(
            text.substr(start, end == std::string::npos ? std::string::npos : end - start));
        start = text.find_first_not_of(delimiters, end);
    }
}

std::string toString(int32_t value) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "%d", value);
    return buffer;
}

std::string toString(uint32_t value) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "%u", value);
    return buffer;
}
