#pragma once

#include <cstddef>

// Memory for the store's large tables (the per-read lists and the name pages).
// Blocks are carved from big regions that the kernel may back with huge pages,
// so that filling hundreds of millions of entries does not fault the memory in
// one small page at a time. A freed block is kept for the next block of its
// size class. Ends the process when memory runs out.
void* bulkAllocate(size_t bytes);
// Gives back a block of bulkAllocate; bytes is the size it was asked with.
void bulkFree(void* block, size_t bytes);

// Allocator of the store's buffers, over bulkAllocate.
template <class T>
class BulkAllocator {
public:
    using value_type = T;

    BulkAllocator() noexcept = default;
    template <class U>
    BulkAllocator(const BulkAllocator<U>&) noexcept {}

    // Room for n elements.
    T* allocate(size_t n) { return static_cast<T*>(bulkAllocate(n * sizeof(T))); }
    // Gives back room for n elements.
    void deallocate(T* p, size_t n) noexcept { bulkFree(p, n * sizeof(T)); }

    template <class U>
    bool operator==(const BulkAllocator<U>&) const noexcept {
        return true;
    }
    template <class U>
    bool operator!=(const BulkAllocator<U>&) const noexcept {
        return false;
    }
};

