// Memory for the store's large tables, carved from big regions.
#include "BulkAllocator.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "Util.h"

#if defined(__SANITIZE_ADDRESS__)
// Under the address checker every block is an allocation of its own, so that
// the checker sees each one.
void* bulkAllocate(size_t bytes) {
    void* p = malloc(bytes == 0 ? 1 : bytes);
    if (!p) die("Error:  The computation ran out of memory and is unable to continue.\n");
    return p;
}

void bulkFree(void* block, size_t) { free(block); }
#else
namespace {

// Size classes: 16-byte steps up to 512 bytes, 512-byte steps up to 16 KB
// (the pages of the store's lists, whose sizes are multiples of these), then
// powers of two up to 64 MB (name pages, read buffers). Larger blocks get a
// mapping of their own.
const size_t SMALL_STEP = 16;
const size_t SMALL_LIMIT = 512;
const int NUM_SMALL = (int)(SMALL_LIMIT / SMALL_STEP);
const size_t MEDIUM_STEP = 512;
const size_t MEDIUM_LIMIT = 16 << 10;
const int NUM_MEDIUM = (int)((MEDIUM_LIMIT - SMALL_LIMIT) / MEDIUM_STEP);
const int FIRST_LARGE = NUM_SMALL + NUM_MEDIUM;
const int MIN_LARGE_SHIFT = 15;
const int MAX_LARGE_SHIFT = 26;
const int NUM_CLASSES = FIRST_LARGE + MAX_LARGE_SHIFT - MIN_LARGE_SHIFT + 1;
const size_t HUGE_PAGE = 2 << 20;
const size_t REGION_BYTES = 64 << 20;

// Size class of a request, or -1 for one that gets its own mapping.
int sizeClass(size_t bytes) {
    if (bytes <= SMALL_LIMIT) return bytes == 0 ? 0 : (int)((bytes - 1) / SMALL_STEP);
    if (bytes <= MEDIUM_LIMIT) return NUM_SMALL + (int)((bytes - SMALL_LIMIT - 1) / MEDIUM_STEP);
    int shift = MIN_LARGE_SHIFT;
    while (shift <= MAX_LARGE_SHIFT && ((size_t)1 << shift) < bytes) shift++;
    return shift > MAX_LARGE_SHIFT ? -1 : FIRST_LARGE + shift - MIN_LARGE_SHIFT;
}

size_t classBytes(int cls) {
    if (cls < NUM_SMALL) return (size_t)(cls + 1) * SMALL_STEP;
    if (cls < FIRST_LARGE) return SMALL_LIMIT + (size_t)(cls - NUM_SMALL + 1) * MEDIUM_STEP;
    return (size_t)1 << (cls - FIRST_LARGE + MIN_LARGE_SHIFT);
}

// Ends the process as a failed allocation does.
void outOfMemory() {
    die("Error:  The computation ran out of memory and is unable to continue.\n");
}

// A mapping aligned to huge pages and advised to use them, or null; the bytes
// are only backed by memory once touched.
char* mapHuge(size_t bytes) {
    void* p = mmap(nullptr, bytes + HUGE_PAGE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS,
                   -1, 0);
    if (p == MAP_FAILED) return nullptr;
    char* start = (char*)(((uintptr_t)p + HUGE_PAGE - 1) & ~(uintptr_t)(HUGE_PAGE - 1));
    char* end = (char*)p + bytes + HUGE_PAGE;
    // Give back the unaligned ends.
    if (start > (char*)p) munmap(p, (size_t)(start - (char*)p));
    if (end > start + bytes) munmap(start + bytes, (size_t)(end - (start + bytes)));
#ifdef MADV_HUGEPAGE
    madvise(start, bytes, MADV_HUGEPAGE);
#endif
    return start;
}

size_t roundToHuge(size_t bytes) { return (bytes + HUGE_PAGE - 1) & ~(HUGE_PAGE - 1); }

// The regions and the free blocks of each class, shared by all threads.
class BulkPool {
public:
    void* allocate(size_t bytes) {
        int cls = sizeClass(bytes);
        if (cls < 0) {
            char* own = mapHuge(roundToHuge(bytes));
            if (!own) outOfMemory();
            return own;
        }
        std::unique_lock<std::mutex> lock(mutex);
        void* block = freeBlocks[cls];
        if (block) {
            freeBlocks[cls] = *(void**)block;
            return block;
        }
        size_t size = classBytes(cls);
        if (cls < NUM_SMALL && (block = splitLargeBlock(cls, size))) return block;
        if ((size_t)(end - next) < size) {
            char* region = mapHuge(REGION_BYTES);
            if (!region) {
                // The process ends; nothing that runs on the way out must wait for the lock.
                lock.unlock();
                outOfMemory();
                return nullptr;
            }
            next = region;
            end = region + REGION_BYTES;
        }
        block = next;
        next += size;
        return block;
    }

    void release(void* block, size_t bytes) {
        int cls = sizeClass(bytes);
        if (cls < 0) {
            munmap(block, roundToHuge(bytes));
            return;
        }
        std::lock_guard<std::mutex> lock(mutex);
        *(void**)block = freeBlocks[cls];
        freeBlocks[cls] = block;
    }

private:
    // A small block cut from a free large one, the rest of which goes on the
    // free list of its class; null when no large block is free. Memory given
    // back in large blocks (read buffers, cut lists) so serves small ones.
    void* splitLargeBlock(int cls, size_t size) {
        for (int large = NUM_SMALL; large < NUM_CLASSES; large++) {
            char* block = (char*)freeBlocks[large];
            if (!block) continue;
            freeBlocks[large] = *(void**)block;
            size_t pieces = classBytes(large) / size;
            for (size_t i = pieces - 1; i > 0; i--) {
                void* piece = block + i * size;
                *(void**)piece = freeBlocks[cls];
                freeBlocks[cls] = piece;
            }
            return block;
        }
        return nullptr;
    }

    std::mutex mutex;
    char* next = nullptr;
    char* end = nullptr;
    void* freeBlocks[NUM_CLASSES] = {};
};

// Made once and never destroyed, so that objects freed at process exit can
// still give their blocks back.
BulkPool& bulkPool() {
    static BulkPool* pool = new BulkPool();
    return *pool;
}

}  // namespace

void* bulkAllocate(size_t bytes) { return bulkPool().allocate(bytes); }

void bulkFree(void* block, size_t bytes) {
    if (block) bulkPool().release(block, bytes);
}
#endif
