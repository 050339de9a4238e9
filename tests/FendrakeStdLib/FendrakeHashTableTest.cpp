#include "Basic/FendrakeStdLib/FendrakeHashTable.h"

#include "Capture.h"
#include "DeletionLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

using testing::ElementsAre;

namespace {
typedef Logged<FDKDLink> Item;

Item* AsItem(void* iLink) {
    return static_cast<Item*>(static_cast<FDKDLink*>(iLink));
}

// The key is its own hash, so a test chooses the bucket: key % bucket count.
// Keys are passed as Item*, elements as FDKDLink*.
template <typename Base> struct KeyTable : Base {
    template <typename... Args> explicit KeyTable(Args... iArgs) : Base(iArgs...) {}
    int compare(void* key, void* element) const override {
        ++mCompares;
        return static_cast<Item*>(key)->mId - AsItem(element)->mId;
    }
    unsigned int hashFunction(void* key) const override {
        return static_cast<unsigned>(static_cast<Item*>(key)->mId);
    }
    Item* find(int iKey) {
        Item probe(iKey);
        return AsItem(this->get(&probe));
    }
    bool add(Item* iItem) { return this->insert(iItem, static_cast<FDKDLink*>(iItem)) == 1; }
    mutable int mCompares = 0;
};
typedef KeyTable<FendrakeHashTable> Table;
typedef KeyTable<FendrakeHashTableWithSeenIndex> SeenTable;

template <typename Iterator, typename T> std::vector<int> Walk(T* iTable) {
    std::vector<int> keys;
    for (Iterator it(iTable); it.current(); it.next())
        keys.push_back(static_cast<const Item*>(it.current())->mId);
    return keys;
}
} // namespace

TEST(FendrakeHashTableTest, StringAndInstanceHashes) {
    struct Row {
        int mLine;
        const char* mText;
        unsigned mHash;
    };
    const Row rows[] = {{__LINE__, nullptr, 0},
                        {__LINE__, "", 0},
                        {__LINE__, "a", 0x41},
                        {__LINE__, "ab", 0x442},
                        {__LINE__, "\xe9", 0xffffffc9},
                        {__LINE__, "Fendrake", 0x9a78832c},
                        {__LINE__, "abcdefghij", 0xcc766c4b}};
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        EXPECT_EQ(row.mHash, fendrake_hash_string(row.mText));
    }
    int objects[2];
    EXPECT_EQ(0u, fendrake_hash_instance(nullptr));
    EXPECT_EQ(static_cast<uint32_t>(reinterpret_cast<uintptr_t>(&objects[1])),
              fendrake_hash_instance(&objects[1]));
    EXPECT_EQ(0, fendrake_compare_instance(&objects[1], &objects[1]));
    EXPECT_EQ(static_cast<int>(sizeof(int)), fendrake_compare_instance(&objects[1], &objects[0]));
    EXPECT_EQ(-static_cast<int>(sizeof(int)), fendrake_compare_instance(&objects[0], &objects[1]));
    // Two addresses 4 GiB apart differ only above the low 32 bits.
    const uintptr_t low = 0x10, high = low + (sizeof(void*) > 4 ? uintptr_t(1) << 32 : 0);
    EXPECT_EQ(high == low, 0 == fendrake_compare_instance(reinterpret_cast<void*>(low),
                                                          reinterpret_cast<void*>(high)));
}

TEST(FendrakeHashTableTest, RefusesDuplicatesKeepsInsertionOrderPerBucketAndPrints) {
    CaptureScope scope;
    std::vector<int> deleted;
    {
        Table table(3);
        for (int key : {7, 2, 1, 4})
            EXPECT_TRUE(table.add(new Item(key, &deleted)));
        Item duplicate(4);
        EXPECT_FALSE(table.add(&duplicate));
        EXPECT_THAT(Walk<FendrakeHashTable::Iterator>(&table), ElementsAre(7, 1, 4, 2));
        const Table& view = table;
        EXPECT_THAT(Walk<FendrakeHashTable::ConstIterator>(&view), ElementsAre(7, 1, 4, 2));
        table.printStatus();
        EXPECT_EQ("HASHTABLE STATUS\nBUCKET 00000000: \nBUCKET 00000001: ***\n"
                  "BUCKET 00000002: *\nTotal Elements:  4\n",
                  CapturedOutput().substr(CapturedOutput().find("HASHTABLE")));

        Item* four = table.find(4);
        ASSERT_NE(nullptr, four);
        EXPECT_NE(&duplicate, four);
        EXPECT_EQ(nullptr, table.find(10));
        table.remove(four, static_cast<FDKDLink*>(four));
        delete four;
        EXPECT_EQ(nullptr, table.find(4));
        EXPECT_EQ(7, table.find(7)->mId);
        EXPECT_EQ(3u, table.size());
        // Bucket by bucket, each in order.
        table.deleteAll();
        EXPECT_THAT(deleted, ElementsAre(4, 7, 1, 2));
        EXPECT_EQ(0u, table.size());
        table.add(new Item(5, &deleted));
    }
    EXPECT_THAT(deleted, ElementsAre(4, 7, 1, 2, 5));
}

TEST(FendrakeHashTableTest, ZeroBucketsHoldNothing) {
    Table none(0);
    Item item(1);
    EXPECT_FALSE(none.add(&item));
    EXPECT_EQ(nullptr, none.find(1));
    EXPECT_EQ(nullptr, FendrakeHashTable::Iterator(&none).current());
}

// Each walk takes out some elements and steps over the rest: it must visit
// every element once, in order, and delete none.
TEST(FendrakeHashTableTest, RemoveAndNextKeepsTheWalkGoing) {
    struct Row {
        int mLine;
        std::vector<int> mKept;
    };
    const Row rows[] = {{__LINE__, {}}, {__LINE__, {4, 3}}, {__LINE__, {0, 1, 7}}};
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        std::vector<int> deleted, visited;
        std::vector<Item*> taken;
        Table table(4);
        for (int key : {0, 4, 8, 1, 3, 7})
            table.add(new Item(key, &deleted));
        FendrakeHashTable::Iterator it(&table);
        while (Item* item = AsItem(it.current())) {
            visited.push_back(item->mId);
            if (std::count(row.mKept.begin(), row.mKept.end(), item->mId) != 0) {
                it.next();
                continue;
            }
            taken.push_back(item);
            it.removeAndNext();
        }
        it.removeAndNext();
        it.next();
        EXPECT_EQ(nullptr, it.current());
        EXPECT_THAT(visited, ElementsAre(0, 4, 8, 1, 3, 7));
        EXPECT_EQ(row.mKept, Walk<FendrakeHashTable::Iterator>(&table));
        EXPECT_EQ(row.mKept.size(), table.size());
        EXPECT_TRUE(deleted.empty());
        for (Item* item : taken)
            delete item;
    }
}

TEST(FendrakeHashTableTest, SeenIndexSkipsBucketWalksForUnseenKeys) {
    EXPECT_EQ(13u, SeenTable(1, 100).mSeenBytes);
    SeenTable table(4, 64);
    Item a(5), duplicate(5);
    EXPECT_TRUE(table.add(&a));
    EXPECT_FALSE(table.add(&duplicate));
    table.mCompares = 0;
    EXPECT_EQ(nullptr, table.find(9));
    EXPECT_EQ(0, table.mCompares);
    EXPECT_EQ(&a, table.find(5));
    EXPECT_EQ(1, table.mCompares);

    // A remove leaves the bit set: 69 shares bucket and bit with 5.
    table.remove(&a, static_cast<FDKDLink*>(&a));
    table.add(new Item(69));
    table.mCompares = 0;
    EXPECT_EQ(nullptr, table.find(5));
    EXPECT_EQ(1, table.mCompares);

    table.deleteAll();
    table.mCompares = 0;
    EXPECT_EQ(nullptr, table.find(69));
    EXPECT_EQ(0, table.mCompares);

    // Without a bitmap every lookup walks its bucket.
    SeenTable plain(4, 0);
    plain.add(new Item(5));
    EXPECT_EQ(nullptr, plain.find(9));
    EXPECT_EQ(1, plain.mCompares);
}
