#pragma once

#include <cstdlib>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

/// A writable copy of some bytes that ends at an unreadable page: one read or write past its end stops the
/// test.
class GuardedText
{
    size_t mapped;
    char *pages;

  public:
    int size;   ///< bytes
    char *text; ///< so many; not terminated unless the bytes given were

    explicit GuardedText(std::string_view bytes) : size(static_cast<int>(bytes.size()))
    {
        const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        mapped = (bytes.size() / page + 2) * page;
        void *memory = mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        pages = static_cast<char *>(memory);
        text = pages + mapped - page - bytes.size();
        if (memory == MAP_FAILED || mprotect(pages + mapped - page, page, PROT_NONE) != 0)
            abort();
        bytes.copy(text, bytes.size());
    }
    GuardedText(const GuardedText &) = delete;
    ~GuardedText() { munmap(pages, mapped); }
};

/// Calls visit(text, size) with every prefix of bytes, the empty and the whole one included, each ending in a
/// NUL that is the last readable byte.
template <typename Visit> void forEachPrefix(std::string_view bytes, Visit visit)
{
    for (size_t length = 0; length <= bytes.size(); ++length) {
        const GuardedText guarded(std::string(bytes.substr(0, length)) + '\0');
        visit(guarded.text, static_cast<int>(length));
    }
}
