// String helpers of the XML and SQL texts.
#ifndef XML_STRING_UTILS_H
#define XML_STRING_UTILS_H

#include <cstdint>
#include <string>
#include <vector>

/// Escapes & (unless it begins "&amp;"), then < > ' " for an XML attribute value.
std::string escapeXml(const std::string& text);
/// The same; a null pointer gives an empty text.
std::string escapeXml(const char* text);
/// Appends text, escaped as by escapeXml, to out.
void appendEscapedXml(const std::string& text, std::string& out);
/// Replaces "&lt;", "&gt;", "&apos;", "&quot;" and last "&amp;" by their characters, each until
/// none is left.
std::string unescapeXml(const std::string& text);
/// The same; a null pointer gives an empty text.
std::string unescapeXml(const char* text);
/// Doubles every single quote, for a text between single quotes in SQL.
std::string quoteSql(const std::string& text);
/// ASCII letters to lower case.
std::string toLower(const std::string& text);
/// ASCII letters to upper case.
std::string toUpper(const std::string& text);
/// Appends the pieces between runs of any of the delimiter characters to out.
void tokenize(const std::string& text, const std::string& delimiters,
              std::vector<std::string>& out);
/// "%d".
std::string toString(int32_t value);
/// "%u".
std::string toString(uint32_t value);

#endif  // XML_STRING_UTILS_H
