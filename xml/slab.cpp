#include "slab.h"

#include <cstdlib>

// A short message (an InformResponse, a request of a few names) fits into the first slab.
static constexpr size_t kFirstSlabBytes = size_t{4} * 1024;
static constexpr size_t kLargestSlabBytes = size_t{1024} * 1024;

struct alignas(max_align_t) SlabLink {
    SlabLink *older;
};

SlabMemory *createSlabMemory()
{
    SlabMemory *memory = static_cast<SlabMemory *>(malloc(kFirstSlabBytes));
    if (memory == nullptr)
        return nullptr;
    memory->next = reinterpret_cast<char *>(memory + 1);
    memory->end = reinterpret_cast<char *>(memory) + kFirstSlabBytes;
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
