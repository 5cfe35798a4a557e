#include "slab.h"

#include <cstdlib>

// A short message (an InformResponse, a request of a few names) fits into the first slab.
static constexpr size_t kFirstSlabBytes = size_t{4} * 1024;
static constexpr size_t kLargestSlabBytes = size_t{1024} * 1024;

struct alignas(max_align_t) SlabLink {
    SlabLink *older;
};

// The bytes that the memory's own record takes at the start of its first slab.
static constexpr size_t kMemoryBytes =
    (sizeof(SlabMemory) + alignof(max_align_t) - 1) / alignof(max_align_t) * alignof(max_align_t);

SlabMemory *createSlabMemory()
{
    char *slab = static_cast<char *>(malloc(kFirstSlabBytes));
    if (slab == nullptr)
        return nullptr;
    SlabMemory *memory = reinterpret_cast<SlabMemory *>(slab);
    memory->next = slab + kMemoryBytes;
    memory->end = slab + kFirstSlabBytes;
    memory->nextSlabBytes = 2 * kFirstSlabBytes;
    memory->slabs = nullptr;
    return memory;
}

void *takeFromNewSlab(SlabMemory *memory, size_t bytes)
{
    const size_t least = sizeof(SlabLink) + bytes;
    const size_t size = least > memory->nextSlabBytes ? least : memory->nextSlabBytes;
    SlabLink *slab = static_cast<SlabLink *>(malloc(size));
    if (slab == nullptr)
        return nullptr;
    slab->older = memory->slabs;
    memory->slabs = slab;
    if (memory->nextSlabBytes < kLargestSlabBytes)
        memory->nextSlabBytes *= 2;

    char *piece = reinterpret_cast<char *>(slab + 1);
    memory->next = piece + bytes;
    memory->end = reinterpret_cast<char *>(slab) + size;
    return piece;
}

void freeSlabMemory(SlabMemory *memory)
{
    if (memory == nullptr)
        return;
    while (memory->slabs != nullptr) {
        SlabLink *older = memory->slabs->older;
        free(memory->slabs);
        memory->slabs = older;
    }
    free(memory);
}
