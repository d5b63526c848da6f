// Paged storage of many short strings.
#include "StringSet.h"

#include <algorithm>
#include <cstring>

#include "Util.h"

StringSet::StringSet() : pageFill(0), pageSize(0), defaultPageSize(65535) {
    pages.reserve(1000);
    pageBytes.reserve(1000);
}

StringSet::~StringSet() {
    for (size_t i = 0; i < pages.size(); i++) bulkFree(pages[i], (size_t)pageBytes[i]);
}

void StringSet::newPage(int need) {
    // The old page keeps its strings, and its unused end is lost.
    int size = std::max(need + 1, defaultPageSize);
    ASSERT(pages.size() < UINTNULL);
    pages.push_back((char*)bulkAllocate((size_t)size));
    pageBytes.push_back(size);
    pageSize = size;
    pageFill = 0;
}

void StringSet::put(int index, const char* chars, int n, bool marked) {
    ASSERT(index >= 0 && n >= 0);
    if (index == (int)pageIds.size()) {
        // The next index: no gap to fill.
        append(chars, n, marked);
        return;
    }
    int need = n + (marked ? 1 : 0);
    if (pages.empty() || pageFill + need + 1 > pageSize) newPage(need);
    if ((int)pageIds.size() <= index) {
        pageIds.resize(index + 1, NO_PAGE);
        offsets.resize(index + 1, NO_OFFSET);
    }
    pageIds[index] = (uint32_t)(pages.size() - 1);
    offsets[index] = (uint16_t)pageFill;
    char* dest = pages.back() + pageFill;
    if (marked) *dest++ = 1;
    if (n > 0) memcpy(dest, chars, n);
    dest[n] = 0;
    pageFill += need + 1;
}

const char* StringSet::get(int i) const {
    // clang-format off
    ASSERT(i >= 0 && i < (int) pageIds.size());
    // clang-format on
    if (pageIds[i] == NO_PAGE) return nullptr;
    return pages[pageIds[i]] + offsets[i];
}
