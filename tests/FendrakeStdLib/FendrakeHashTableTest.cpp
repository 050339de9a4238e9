#include "Basic/FendrakeStdLib/FendrakeHashTable.h"

#include "Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

using testing::ElementsAre;

namespace {
struct Item : FDKDLink {
    explicit Item(unsigned iKey, std::vector<unsigned>* iDeleted = nullptr)
        : mKey(iKey), mDeleted(iDeleted) {}
    ~Item() override {
        if (mDeleted)
            mDeleted->push_back(mKey);
    }
    unsigned mKey;
    std::vector<unsigned>* mDeleted;
};

// The key is its own hash, so a test chooses the bucket: key % bucket count.
template <typename Base> struct KeyTable : Base {
    template <typename... Args> explicit KeyTable(Args... iArgs) : Base(iArgs...) {}
    int compare(void* key, void* element) const override {
        ++mCompares;
        return static_cast<int>(static_cast<Item*>(key)->mKey -
                                static_cast<Item*>(static_cast<FDKDLink*>(element))->mKey);
    }
    unsigned int hashFunction(void* key) const override {
        ++mHashes;
        return static_cast<Item*>(key)->mKey;
    }
    Item* find(unsigned iKey) {
        Item probe(iKey);
        return static_cast<Item*>(static_cast<FDKDLink*>(this->get(&probe)));
    }
    bool add(Item* iItem) { return this->insert(iItem, static_cast<FDKDLink*>(iItem)) == 1; }
    mutable int mCompares = 0;
    mutable int mHashes = 0;
};
typedef KeyTable<FendrakeHashTable> Table;
typedef KeyTable<FendrakeHashTableWithSeenIndex> SeenTable;

template <typename Iterator, typename T> std::vector<unsigned> Walk(T* iTable) {
    std::vector<unsigned> keys;
    for (Iterator it(iTable); it.current(); it.next())
        keys.push_back(static_cast<const Item*>(it.current())->mKey);
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
    if (sizeof(void*) > 4) {
        const void* low = reinterpret_cast<const void*>(uintptr_t(0x10));
        const void* high = reinterpret_cast<const void*>(uintptr_t(0x10) + (uintptr_t(1) << 32));
        EXPECT_NE(0, fendrake_compare_instance(low, high));
    }
}

TEST(FendrakeHashTableTest, RefusesDuplicatesAndKeepsInsertionOrderPerBucket) {
    Table table(3);
    for (unsigned key : {7u, 2u, 1u, 4u})
        EXPECT_TRUE(table.add(new Item(key)));
    Item duplicate(4);
    EXPECT_FALSE(table.add(&duplicate));
    EXPECT_EQ(4u, table.size());
    EXPECT_EQ(3, table.mBuckets[1].mCount);
    EXPECT_THAT(Walk<FendrakeHashTable::Iterator>(&table), ElementsAre(7, 1, 4, 2));
    const Table& view = table;
    EXPECT_THAT(Walk<FendrakeHashTable::ConstIterator>(&view), ElementsAre(7, 1, 4, 2));
    Item* four = table.find(4);
    EXPECT_EQ(4u, four->mKey);
    EXPECT_NE(&duplicate, four);
    EXPECT_EQ(nullptr, table.find(10));
    table.remove(four, static_cast<FDKDLink*>(four));
    EXPECT_EQ(nullptr, table.find(4));
    EXPECT_EQ(7u, table.find(7)->mKey);
    EXPECT_EQ(3u, table.size());
    delete four;
}

TEST(FendrakeHashTableTest, RemoveAndNextKeepsTheWalkGoing) {
    std::vector<unsigned> deleted;
    Table table(4);
    std::vector<Item*> items;
    for (unsigned key : {0u, 4u, 8u, 1u, 3u, 7u})
        items.push_back(new Item(key, &deleted));
    for (Item* item : items)
        table.add(item);
    std::vector<unsigned> taken;
    FendrakeHashTable::Iterator it(&table);
    while (it.current()) {
        const unsigned key = static_cast<Item*>(it.current())->mKey;
        if (key == 0 || key == 8 || key == 1 || key == 7) {
            taken.push_back(key);
            it.removeAndNext();
        } else {
            it.next();
        }
    }
    EXPECT_THAT(taken, ElementsAre(0, 8, 1, 7));
    EXPECT_THAT(Walk<FendrakeHashTable::Iterator>(&table), ElementsAre(4, 3));
    EXPECT_EQ(2u, table.size());

    FendrakeHashTable::Iterator all(&table);
    while (all.current())
        all.removeAndNext();
    all.removeAndNext();
    all.next();
    EXPECT_EQ(nullptr, all.current());
    EXPECT_EQ(0u, table.size());
    EXPECT_TRUE(deleted.empty());
    for (Item* item : items)
        delete item;
}

TEST(FendrakeHashTableTest, DeleteAllAndDestructorDeleteEveryElementOfEveryBucket) {
    std::vector<unsigned> deleted;
    {
        Table table(2);
        EXPECT_EQ(nullptr, FendrakeHashTable::Iterator(&table).current());
        for (unsigned key : {1u, 2u, 3u})
            table.add(new Item(key, &deleted));
        table.deleteAll();
        EXPECT_THAT(deleted, ElementsAre(2, 1, 3));
        EXPECT_EQ(0u, table.size());
        table.add(new Item(5, &deleted));
    }
    EXPECT_THAT(deleted, ElementsAre(2, 1, 3, 5));
    Table none(0);
    Item item(1);
    EXPECT_FALSE(none.add(&item));
    EXPECT_EQ(nullptr, none.find(1));
    EXPECT_EQ(nullptr, FendrakeHashTable::Iterator(&none).current());
}

TEST(FendrakeHashTableTest, PrintStatusDrawsOneStarPerElement) {
    CaptureScope scope;
    Table table(3);
    table.add(new Item(1));
    table.add(new Item(4));
    table.add(new Item(2));
    table.printStatus();
    EXPECT_EQ("HASHTABLE STATUS\nBUCKET 00000000: \nBUCKET 00000001: **\n"
              "BUCKET 00000002: *\nTotal Elements:  3\n",
              CapturedOutput().substr(CapturedOutput().find("HASHTABLE")));
}

TEST(FendrakeHashTableTest, SeenIndexSkipsBucketWalksForUnseenKeys) {
    SeenTable table(4, 64);
    EXPECT_EQ(8u, table.mSeenBytes);
    Item a(5), duplicate(5);
    EXPECT_TRUE(table.add(&a));
    EXPECT_FALSE(table.add(&duplicate));
    table.mCompares = 0;
    EXPECT_EQ(nullptr, table.find(9));
    EXPECT_EQ(0, table.mCompares);
    EXPECT_EQ(&a, table.find(5));
    EXPECT_EQ(1, table.mCompares);

    table.remove(&a, static_cast<FDKDLink*>(&a));
    table.mCompares = 0;
    table.add(new Item(69));
    EXPECT_EQ(nullptr, table.find(5));
    EXPECT_EQ(1, table.mCompares);

    table.deleteAll();
    table.mCompares = table.mHashes = 0;
    EXPECT_EQ(nullptr, table.find(69));
    EXPECT_EQ(1, table.mHashes);
    EXPECT_EQ(0, table.mCompares);

    SeenTable plain(4, 0);
    EXPECT_EQ(nullptr, plain.mSeenIndex);
    plain.add(new Item(5));
    EXPECT_EQ(nullptr, plain.find(9));
    EXPECT_EQ(1, plain.mCompares);
    EXPECT_EQ(13u, SeenTable(1, 100).mSeenBytes);
}
