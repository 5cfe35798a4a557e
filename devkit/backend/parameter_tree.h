#pragma once

#include <map>
#include <string>
#include <string_view>

// The parameter tree: every parameter under its full name, every object under its name with the final ".".

constexpr std::string_view kRootPath = "InternetGatewayDevice.";
constexpr int kReadOnly = 0;
constexpr int kWritable = 1;
constexpr int kWritableAtReboot = 2; ///< a change is committed at once and takes effect with the next boot

struct Node {
    std::string type;       ///< as the data model declares it (value_types.h); empty for an object
    std::string value;      ///< bytes, as they are
    int writable = 0;       ///< an object: 1 when instances can be added to it or it can be deleted
    int notification = 0;   ///< 0 off, 1 passive, 2 active
    std::string accessList; ///< entries with single blanks between them; may be empty
};

/// Orders names segment by segment: numbers by their value, before words. What is below a path follows it
/// without a gap.
struct PathOrder {
    using is_transparent = void;
    bool operator()(std::string_view a, std::string_view b) const;
};

using Tree = std::map<std::string, Node, PathOrder>;

inline bool isObjectName(std::string_view name)
{
    return !name.empty() && name.back() == '.';
}

inline bool startsWith(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

/// Whether a segment of a path is an instance number: digits only.
bool isInstanceNumber(std::string_view segment);

/// "A.B.3." gives "A.B."; a path of one segment gives "".
std::string_view parentOfPath(std::string_view path);

/// "A.B.3." gives "3".
std::string_view lastSegment(std::string_view path);

/// Calls visit(entry) for the entry of that path, if there is one, and for everything below it, in order. The
/// path ends with "."; "" stands for the whole tree. The tree must not change meanwhile.
template <typename TreeType, typename Visit>
void forEachBelow(TreeType &tree, std::string_view path, Visit visit)
{
    for (auto at = tree.lower_bound(path); at != tree.end() && startsWith(at->first, path); ++at)
        visit(*at);
}
