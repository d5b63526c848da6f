// The store's paged lists: growth across pages, cutting, and entries brought
// in from a state file on first use.
#include <gtest/gtest.h>

#include <vector>

#include "BulkList.h"

namespace {

TEST(BulkListTest, GrowsAcrossPagesAndCuts) {
    BulkList<uint32_t> list;
    size_t n = 3 * BulkList<uint32_t>::PER_PAGE + 5;
    for (size_t i = 0; i < n; i++) list.push_back((uint32_t)i * 7);
    ASSERT_EQ(n, list.size());
    for (size_t i = 0; i < n; i++) ASSERT_EQ(i * 7, list[i]);
    list.resize(10);
    EXPECT_EQ(10u, list.size());
    EXPECT_EQ(63u, list.back());
    list.resize(BulkList<uint32_t>::PER_PAGE + 2, 9);
    EXPECT_EQ(9u, list.back());
    EXPECT_EQ(63u, list[9]);
    list.clear();
    EXPECT_TRUE(list.empty());
}

// Records 100.. are pending; bringing one in fills its whole block.
class FakeRecords : public PendingRecords {
public:
    explicit FakeRecords(BulkList<int>& list) : list(list) {
        firstSeqId = 100;
        numRecords = 2 * BLOCK_READS;
        loaded.assign(2, 0);
    }
    void bringIn(int64_t seqId) override {
        size_t k = (size_t)((seqId - firstSeqId) >> BLOCK_SHIFT);
        calls.push_back(k);
        for (int i = 0; i < BLOCK_READS; i++) {
            int64_t id = firstSeqId + (int64_t)k * BLOCK_READS + i;
            list.slot((size_t)(id - list.idBase)) = (int)id;
        }
        loaded[k] = 1;
    }
    void bringInAll() override {}

    BulkList<int>& list;
    std::vector<size_t> calls;
};

TEST(BulkListTest, PendingEntriesAreBroughtInOnFirstUse) {
    BulkList<int> list;
    list.idBase = 90;  // entry i is seqId 90 + i
    list.setSize(10 + 2 * PendingRecords::BLOCK_READS);
    for (int i = 0; i < 10; i++) list.slot(i) = -i;
    FakeRecords records(list);
    list.pending = &records;
    EXPECT_EQ(-3, list[3]);  // before the pending records
    EXPECT_TRUE(records.calls.empty());
    EXPECT_EQ(100 + PendingRecords::BLOCK_READS + 1, list[11 + PendingRecords::BLOCK_READS]);
    EXPECT_EQ(100, list[10]);
    EXPECT_EQ(101, list[11]);
    EXPECT_EQ((std::vector<size_t>{1, 0}), records.calls);
}

}  // namespace
