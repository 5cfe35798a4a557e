#include "guarded_text.h"

#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

GuardedText guardText(std::string_view bytes)
{
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t readable = (bytes.size() / page + 1) * page;
    const size_t mapped = readable + page;
    void *pages = mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED || mprotect(static_cast<char *>(pages) + readable, page, PROT_NONE) != 0)
        abort();
    char *text = static_cast<char *>(pages) + readable - bytes.size();
    if (!bytes.empty())
        memcpy(text, bytes.data(), bytes.size());
    return {text, static_cast<int>(bytes.size()), static_cast<char *>(pages), mapped};
}

void freeGuardedText(const GuardedText &guarded)
{
    munmap(guarded.pages, guarded.mapped);
}
