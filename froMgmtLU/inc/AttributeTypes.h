// The type words of attributes. Values are always held as text; the type word says
// how the text is to be read. Words are compared by exact text.
#ifndef ATTRIBUTE_TYPES_H
#define ATTRIBUTE_TYPES_H

namespace attrType {

/// Signed 32 bits, decimal text.
constexpr char S32[] = "S32";
/// Unsigned 32 bits, decimal text.
constexpr char U32[] = "U32";
/// Signed 64 bits, decimal text.
constexpr char S64[] = "S64";
/// Unsigned 64 bits: a type word for the database only; no accessor handles it.
constexpr char U64[] = "U64";
/// Text, held as it is.
constexpr char STRING[] = "STRING";
/// Array of attributes, held as the whole element in XML text.
constexpr char ARRAY[] = "array";
/// Struct of named attributes, held as the whole element in XML text.
constexpr char STRUCT[] = "struct";
/// Reference to a managed object, held as the whole element in XML text.
constexpr char MOREF[] = "moref";

}  // namespace attrType

#endif  // ATTRIBUTE_TYPES_H
