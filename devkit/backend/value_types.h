#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Value types as the data model file declares them: a word, then what a value must keep to.
//
//   string            any bytes          string(64)          at most 64 bytes
//   string{A|B}       A or B             boolean             0, 1, true, false
//   int[-5:5]         a number, -5 to 5  unsignedInt[1:60]   likewise
//   dateTime          2026-01-31T12:00:00, fraction and zone optional
//   base64(128)       Base64, at most 128 characters

enum class ValueKind { text, boolean, integer, dateTime, base64 };

struct ValueType {
    ValueKind kind = ValueKind::text;
    std::string word;                ///< the type's name on the bus: "string", "unsignedInt", ...
    size_t maximumLength = SIZE_MAX; ///< bytes
    int64_t low = 0;                 ///< the range of a number, both ends included
    int64_t high = 0;
    std::vector<std::string> choices; ///< empty: any value
};

/// Reads a declaration. Throws std::invalid_argument when it is none of the forms above.
ValueType parseValueType(std::string_view declared);

/// The type's name on the bus: the declaration without its bounds.
std::string_view wordOfType(std::string_view declared);

/// Whether a value fits. Returns 0; 9006 when it is no value of that kind at all (a word for a number); 9007
/// when it is one, but outside of the bounds.
int checkValue(const ValueType &type, std::string_view value);
