#include "parameter_tree.h"

#include <algorithm>

bool isInstanceNumber(std::string_view segment)
{
    return !segment.empty() && std::all_of(segment.begin(), segment.end(),
                                           [](char letter) { return letter >= '0' && letter <= '9'; });
}

/// Below 0, 0 or above 0, as strcmp has it.
static int compareSegments(std::string_view a, std::string_view b)
{
    const bool isNumberA = isInstanceNumber(a);
    const bool isNumberB = isInstanceNumber(b);
    if (isNumberA != isNumberB)
        return a.empty() || (isNumberA && !b.empty()) ? -1 : 1;
    if (isNumberA) {
        const std::string_view valueA = a.substr(std::min(a.find_first_not_of('0'), a.size()));
        const std::string_view valueB = b.substr(std::min(b.find_first_not_of('0'), b.size()));
        if (valueA.size() != valueB.size())
            return valueA.size() < valueB.size() ? -1 : 1;
        if (valueA != valueB)
            return valueA.compare(valueB);
    }
    return a.compare(b);
}

bool PathOrder::operator()(std::string_view a, std::string_view b) const
{
    // The common start is skipped, back to where its last segment begins: names below one object share most
    // of their length.
    const auto [endA, endB] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    const std::string_view common = a.substr(0, static_cast<size_t>(endA - a.begin()));
    const size_t start = common.rfind('.') + 1; // npos + 1 is 0
    const int order = compareSegments(a.substr(start, a.find('.', start) - start),
                                      b.substr(start, b.find('.', start) - start));
    return order != 0 ? order < 0 : a.size() < b.size();
}

std::string_view parentOfPath(std::string_view path)
{
    if (isObjectName(path))
        path.remove_suffix(1);
    const size_t dot = path.rfind('.');
    return dot == std::string_view::npos ? std::string_view() : path.substr(0, dot + 1);
}

std::string_view lastSegment(std::string_view path)
{
    const size_t start = parentOfPath(path).size();
    return path.substr(start, path.size() - start - (isObjectName(path) ? 1 : 0));
}
