// The store's per-read lists: arrays in fixed-size pages of bulk memory, so
// that growth never copies, and pages exist only where entries were put.
//
// A list may cover records that are still only in a state file: it then asks
// the store's PendingRecords to bring a record in before it hands the entry
// out, so that a load need not decode reads nobody looks at.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "BulkAllocator.h"

// Records of a store not yet decoded from their state file, in blocks of
// BLOCK_READS by seqId. Blocks count from the first record, and again from
// splitIndex when the file was checked in two parts: the block before it may
// be shorter.
class PendingRecords {
public:
    static constexpr int BLOCK_SHIFT = 8;
    static constexpr int BLOCK_READS = 1 << BLOCK_SHIFT;

    virtual ~PendingRecords() = default;

    // True while the record of seqId is still in the file.
    bool isPending(int64_t seqId) const {
        uint64_t k = (uint64_t)(seqId - firstSeqId);
        return k < numRecords && !loaded[blockOf(k)];
    }
    // The block of the k-th record, and the first record of block b.
    size_t blockOf(uint64_t k) const {
        return k < splitIndex ? (size_t)(k >> BLOCK_SHIFT)
                              : splitBlock + (size_t)((k - splitIndex) >> BLOCK_SHIFT);
    }
    uint64_t blockFirst(size_t b) const {
        return b < splitBlock ? (uint64_t)b << BLOCK_SHIFT
                              : splitIndex + ((uint64_t)(b - splitBlock) << BLOCK_SHIFT);
    }
    // Decodes the block of seqId into every list of the store.
    virtual void bringIn(int64_t seqId) = 0;
    // Decodes every block still pending.
    virtual void bringInAll() = 0;

    int64_t firstSeqId = 0;
    uint64_t numRecords = 0;
    std::vector<uint8_t> loaded;
    // Where blocks count again from: the record, and its block.
    uint64_t splitIndex = UINT64_MAX;
    size_t splitBlock = SIZE_MAX;
};

template <class T>
class BulkList {
public:
    // A page holds the entries of one block of records, so that a store
    // that decodes a few blocks uses little more memory than they need.
    static constexpr size_t PER_PAGE = PendingRecords::BLOCK_READS;
    static constexpr size_t PAGE_BYTES = PER_PAGE * sizeof(T);

    BulkList() = default;
    ~BulkList() { releasePages(); }
    BulkList(const BulkList&) = delete;
    BulkList& operator=(const BulkList&) = delete;

    size_t size() const { return count; }
    bool empty() const { return count == 0; }

    // The entry, brought in from the state file first when it is still there.
    T& operator[](size_t i) {
        if (pending && pending->isPending(idBase + (int64_t)i))
            pending->bringIn(idBase + (int64_t)i);
        return pages[i / PER_PAGE][i % PER_PAGE];
    }
    const T& operator[](size_t i) const { return (*const_cast<BulkList*>(this))[i]; }
    T& back() { return (*this)[count - 1]; }

    // The place of entry i, made if needed, without bringing anything in:
    // for the loader that fills it.
    T& slot(size_t i) {
        size_t p = i / PER_PAGE;
        if (p >= pages.size()) pages.resize(p + 1, nullptr);
        T*& page = pages[p];
        if (!page) page = (T*)bulkAllocate(PAGE_BYTES);
        return page[i % PER_PAGE];
    }

    void push_back(const T& value) { slot(count++) = value; }
    // Grows with copies of value, or cuts the list to n entries.
    void resize(size_t n, const T& value = T()) {
        if (n < count) {
            size_t keep = (n + PER_PAGE - 1) / PER_PAGE;
            for (size_t p = keep; p < pages.size(); p++)
                if (pages[p]) bulkFree(pages[p], PAGE_BYTES);
            pages.resize(keep);
            count = n;
            return;
        }
        while (count < n) push_back(value);
    }
    // Grows to n entries whose values a loader puts later, through slot.
    void setSize(size_t n) {
        if (n <= count) return;
        pages.resize((n + PER_PAGE - 1) / PER_PAGE, nullptr);
        count = n;
    }
    // Empties the list; it no longer follows a state file.
    void clear() {
        releasePages();
        count = 0;
        pending = nullptr;
    }

    // The store's pending records, and the seqId of entry 0 (entry i is seqId
    // idBase + i); null when every entry is in memory.
    PendingRecords* pending = nullptr;
    int64_t idBase = 0;

private:
    void releasePages() {
        for (T* page : pages)
            if (page) bulkFree(page, PAGE_BYTES);
        pages.clear();
    }

    std::vector<T*> pages;
    size_t count = 0;
};
