#include "value_types.h"

#include "faults.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

static bool isDigit(char letter)
{
    return letter >= '0' && letter <= '9';
}

static bool isNumber(std::string_view text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
}

std::string_view wordOfType(std::string_view declared)
{
    return declared.substr(0, declared.find_first_of("([{"));
}

static std::invalid_argument badType(std::string_view declared)
{
    return std::invalid_argument("no such value type: " + std::string(declared));
}

static int64_t readNumber(std::string_view text, std::string_view declared)
{
    int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        throw badType(declared);
    return number;
}

static ValueType typeOfWord(std::string_view word, std::string_view declared)
{
    ValueType type;
    type.word = word;
    if (word == "boolean") {
        type.kind = ValueKind::boolean;
    } else if (word == "int" || word == "unsignedInt") {
        type.kind = ValueKind::integer;
        type.low = word == "int" ? INT32_MIN : 0;
        type.high = word == "int" ? INT32_MAX : UINT32_MAX;
    } else if (word == "dateTime") {
        type.kind = ValueKind::dateTime;
    } else if (word == "base64") {
        type.kind = ValueKind::base64;
    } else if (word != "string") {
        throw badType(declared);
    }
    return type;
}

static void readChoices(std::string_view list, ValueType &type)
{
    for (;;) {
        const size_t bar = list.find('|');
        type.choices.emplace_back(list.substr(0, bar));
        if (bar == std::string_view::npos)
            return;
        list.remove_prefix(bar + 1);
    }
}

ValueType parseValueType(std::string_view declared)
{
    const std::string_view word = wordOfType(declared);
    ValueType type = typeOfWord(word, declared);
    if (word.size() == declared.size())
        return type;
    const char opening = declared[word.size()];
    const char closing = opening == '(' ? ')' : (opening == '[' ? ']' : '}');
    if (declared.back() != closing)
        throw badType(declared);
    const std::string_view bounds = declared.substr(word.size() + 1, declared.size() - word.size() - 2);
    if (opening == '(' && (type.kind == ValueKind::text || type.kind == ValueKind::base64)) {
        type.maximumLength = static_cast<size_t>(readNumber(bounds, declared));
    } else if (opening == '[' && type.kind == ValueKind::integer) {
        const size_t colon = std::min(bounds.find(':'), bounds.size());
        type.low = readNumber(bounds.substr(0, colon), declared);
        type.high = readNumber(bounds.substr(std::min(colon + 1, bounds.size())), declared);
    } else if (opening == '{' && type.kind == ValueKind::text) {
        readChoices(bounds, type);
    } else {
        throw badType(declared);
    }
    return type;
}

static int checkInteger(const ValueType &type, std::string_view value)
{
    std::string_view digits = value;
    if (!digits.empty() && (digits.front() == '-' || digits.front() == '+'))
        digits.remove_prefix(1);
    if (!isNumber(digits))
        return kFaultInvalidType;
    int64_t number = 0;
    const char *start = value.front() == '+' ? digits.data() : value.data();
    if (std::from_chars(start, value.data() + value.size(), number).ec != std::errc())
        return kFaultInvalidValue; // more digits than any integer type has
    return number >= type.low && number <= type.high ? 0 : kFaultInvalidValue;
}

/// Takes `digits` digits and the letter after them (any of `after`; "" for none) off the front of text.
/// Returns the number, or -1 when something else stands there.
static int takeField(std::string_view &text, size_t digits, std::string_view after)
{
    if (text.size() < digits + (after.empty() ? 0 : 1) || !isNumber(text.substr(0, digits)))
        return -1;
    if (!after.empty() && after.find(text[digits]) == std::string_view::npos)
        return -1;
    int number = 0;
    std::from_chars(text.data(), text.data() + digits, number);
    text.remove_prefix(digits + (after.empty() ? 0 : 1));
    return number;
}

/// Whether what follows the seconds is a fraction, a zone, both or nothing.
static bool isFractionAndZone(std::string_view text)
{
    if (!text.empty() && text.front() == '.') {
        const size_t end = std::min(text.find_first_not_of("0123456789", 1), text.size());
        if (end == 1)
            return false;
        text.remove_prefix(end);
    }
    if (text.empty() || text == "Z")
        return true;
    if (text.front() != '+' && text.front() != '-')
        return false;
    text.remove_prefix(1);
    return takeField(text, 2, ":") >= 0 && takeField(text, 2, "") >= 0 && text.empty();
}

static int daysOfMonth(int year, int month)
{
    if (month == 2)
        return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0) ? 29 : 28;
    return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

static int checkDateTime(std::string_view value)
{
    const int year = takeField(value, 4, "-");
    const int month = year < 0 ? -1 : takeField(value, 2, "-");
    const int day = month < 0 ? -1 : takeField(value, 2, "T");
    const int hour = day < 0 ? -1 : takeField(value, 2, ":");
    const int minute = hour < 0 ? -1 : takeField(value, 2, ":");
    const int second = minute < 0 ? -1 : takeField(value, 2, "");
    if (second < 0 || !isFractionAndZone(value))
        return kFaultInvalidType;
    const bool exists = month >= 1 && month <= 12 && day >= 1 && day <= daysOfMonth(year, month) &&
                        hour <= 23 && minute <= 59 && second <= 59;
    return exists ? 0 : kFaultInvalidValue;
}

static bool isBase64(std::string_view value)
{
    const size_t letters = std::min(value.find('='), value.size());
    const auto isLetter = [](char letter) {
        return isDigit(letter) || (letter >= 'A' && letter <= 'Z') || (letter >= 'a' && letter <= 'z') ||
               letter == '+' || letter == '/';
    };
    return value.size() % 4 == 0 && value.size() - letters <= 2 &&
           value.find_first_not_of('=', letters) == std::string_view::npos &&
           std::all_of(value.begin(), value.begin() + static_cast<std::ptrdiff_t>(letters), isLetter);
}

int checkValue(const ValueType &type, std::string_view value)
{
    const bool isChoice = type.choices.empty() ||
                          std::find(type.choices.begin(), type.choices.end(), value) != type.choices.end();
    switch (type.kind) {
    case ValueKind::boolean:
        return value == "0" || value == "1" || value == "true" || value == "false" ? 0 : kFaultInvalidType;
    case ValueKind::integer:
        return checkInteger(type, value);
    case ValueKind::dateTime:
        return checkDateTime(value);
    case ValueKind::base64:
        if (!isBase64(value))
            return kFaultInvalidType;
        break;
    case ValueKind::text:
        break;
    }
    return isChoice && value.size() <= type.maximumLength ? 0 : kFaultInvalidValue;
}
