// Many short strings (read names) stored back to back in large pages, each
// addressed by an index; strings are never freed or moved.
#pragma once

#include <cstdint>
#include <deque>
#include <vector>

class StringSet {
public:
    static constexpr uint32_t NO_PAGE = 0xFFFFFFFE;
    static constexpr uint16_t NO_OFFSET = 65535;

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

    std::vector<char*> pages;
    std::deque<uint32_t> pageIds;
    std::deque<uint16_t> offsets;
    int pageFill;
    int pageSize;
    int defaultPageSize;
};
