#pragma once

#include <cstddef>

// Memory for many small things that die together: the records and the namespace tables of one node list. One
// call of malloc serves hundreds of records, and nothing is given back singly.

/// Where the next piece comes from; lives at the start of its own first slab.
struct alignas(max_align_t) SlabMemory {
    char *next;             ///< first free byte of the newest slab
    char *end;              ///< its end
    size_t nextSlabBytes;   ///< size of the slab to be asked for when this one is used up
    struct SlabLink *slabs; ///< every slab but the first, newest first
};

/// Opens a memory with its first slab.
///
/// @return released by the caller with freeSlabMemory; null when memory runs out
SlabMemory *createSlabMemory();

/// The way of takeFromSlab when the newest slab is used up: a new one, twice as large as the last up to a
/// ceiling.
void *takeFromNewSlab(SlabMemory *memory, size_t bytes);

/// A piece of the memory, aligned for any record; its bytes are not cleared.
///
/// @param bytes  how many; at least 1
/// @return borrowed: valid until freeSlabMemory; null when memory runs out
inline void *takeFromSlab(SlabMemory *memory, size_t bytes)
{
    constexpr size_t kAlignment = alignof(max_align_t);
    const size_t rounded = (bytes + kAlignment - 1) / kAlignment * kAlignment;
    if (rounded > static_cast<size_t>(memory->end - memory->next))
        return takeFromNewSlab(memory, rounded);
    void *piece = memory->next;
    memory->next += rounded;
    return piece;
}

/// Gives back every slab; accepts null.
void freeSlabMemory(SlabMemory *memory);
