#pragma once

#include <cstdlib>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

/// A writable copy of some bytes that ends at an unreadable page: one read or write past its end stops the
/// test.
struct GuardedText {
    char *text;  ///< size bytes, not terminated unless the bytes given were
    int size;    ///< bytes
    char *pages; ///< the mapping behind it
    size_t mapped;
};

/// Copies the bytes against the end of readable memory; give back with freeGuardedText.
inline GuardedText guardText(std::string_view bytes)
{
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t readable = (bytes.size() / page + 1) * page;
    void *memory = mmap(nullptr, readable + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    char *pages = static_cast<char *>(memory), *text = pages + readable - bytes.size();
    if (memory == MAP_FAILED || mprotect(pages + readable, page, PROT_NONE) != 0)
        abort();
    bytes.copy(text, bytes.size());
    return {text, static_cast<int>(bytes.size()), pages, readable + page};
}

inline void freeGuardedText(const GuardedText &guarded)
{
    munmap(guarded.pages, guarded.mapped);
}

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
