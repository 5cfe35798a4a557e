#include "failing_allocator.h"

#include <cstddef>

static int failAt = 0;
static bool failAfterwards = false;
static int asked = 0;

void failAllocation(int n, bool andAllLater)
{
    failAt = n;
    failAfterwards = andAllLater;
    asked = 0;
}

int allocationsAsked() { return asked; }

static bool failsNow()
{
    ++asked;
    return failAt != 0 && (asked == failAt || (failAfterwards && asked > failAt));
}

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);

void *__wrap_malloc(size_t size) { return failsNow() ? nullptr : __real_malloc(size); }
void *__wrap_calloc(size_t count, size_t size) { return failsNow() ? nullptr : __real_calloc(count, size); }
void *__wrap_realloc(void *block, size_t size) { return failsNow() ? nullptr : __real_realloc(block, size); }
}
