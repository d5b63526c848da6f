// Many short strings (read names) stored back to back in large pages, each
// addressed by an index; strings are never freed or moved.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "BulkList.h"

class StringSet {
public:
    static constexpr uint32_t NO_PAGE = 0xFFFFFFFE;
    static constexpr uint16_t NO_OFFSET = 65535;
    // Strings up to this length may be moved in one fixed-size copy.
    static constexpr int SHORT_COPY = 32;

    StringSet();
    ~StringSet();
    StringSet(const StringSet&) = delete;
    StringSet& operator=(const StringSet&) = delete;

    // Stores n bytes of chars (zero-terminated) under index; with marked, a
    // byte 1 is put in front of them.
    void put(int index, const char* chars, int n, bool marked);
    // The string stored under index (its mark byte first, if marked); null for
    // an index that was skipped.
    const char* get(int i) const;
    // Number of indexes known (the highest put plus one).
    int size() const { return (int)pageIds.size(); }

    // Copies n bytes (after a byte 1 if marked, zero-terminated) into the
    // pages and tells where they lie; the index lists are left alone, for a
    // loader that appends their entries in runs. readable is how many bytes
    // may be read at chars (n at least): with room to spare a short string is
    // moved in one fixed-size copy.
    void place(const char* chars, int n, bool marked, uint32_t& pageId, uint16_t& offset,
               size_t readable = 0) {
        int need = n + (marked ? 1 : 0);
        if (pages.empty() || pageFill + need + 1 > pageSize) newPage(need);
        pageId = (uint32_t)(pages.size() - 1);
        offset = (uint16_t)pageFill;
        char* dest = pages.back() + pageFill;
        // Pages fill front to back: have the lines ahead on their way.
        __builtin_prefetch(dest + 1024, 1, 0);
        if (marked) *dest++ = 1;
        if (n <= SHORT_COPY && readable >= SHORT_COPY && pageFill + 1 + SHORT_COPY <= pageSize)
            memcpy(dest, chars, SHORT_COPY);
        else if (n > 0)
            memcpy(dest, chars, (size_t)n);
        dest[n] = 0;
        pageFill += need + 1;
    }
    // Stores n bytes under the next index, size().
    void append(const char* chars, int n, bool marked) {
        uint32_t pageId;
        uint16_t offset;
        place(chars, n, marked, pageId, offset);
        pageIds.push_back(pageId);
        offsets.push_back(offset);
    }
    // Leaves the next index unset.
    void appendNone() {
        pageIds.push_back(NO_PAGE);
        offsets.push_back(NO_OFFSET);
    }

    std::vector<char*> pages;
    BulkList<uint32_t> pageIds;
    BulkList<uint16_t> offsets;
    int pageFill;
    int pageSize;
    int defaultPageSize;

private:
    // Starts a page with room for a string of need bytes and its terminator.
    void newPage(int need);

    // Bytes of each page, for giving them back.
    std::vector<int> pageBytes;
};
