#pragma once

#include <string>
#include <string_view>

/// A writable copy of some bytes that ends at an unreadable page: one read or write past its end stops the
/// test.
struct GuardedText {
    char *text;  ///< size bytes, not terminated unless the bytes given were
    int size;    ///< bytes
    char *pages; ///< the mapping behind it
    size_t mapped;
};

/// Copies the bytes against the end of readable memory; give back with freeGuardedText.
GuardedText guardText(std::string_view bytes);
void freeGuardedText(const GuardedText &guarded);

/// Calls visit(text, size) with every prefix of bytes, the empty and the whole one included, each ending in a
/// NUL that is the last readable byte.
template <typename Visit>
void forEachPrefix(std::string_view bytes, Visit visit)
{
    for (size_t length = 0; length <= bytes.size(); ++length) {
        const GuardedText guarded = guardText(std::string(bytes.substr(0, length)) + '\0');
        visit(guarded.text, static_cast<int>(length));
        freeGuardedText(guarded);
    }
}
