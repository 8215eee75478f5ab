// Releasing what the reads hand out: who may release what, when nothing happens, and that nothing is lost over many
// rounds.
#include "api/front_helpers.h"
#include "support/system.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::test {
namespace {

void fillBoth(Installation &installation, int count)
{
    for (const NumberList list : {NumberList::white, NumberList::black}) {
        for (int i = 0; i < count; ++i) {
            installation.addNumber(list, std::to_string(13800000000 + i), i % 2, wide("name " + std::to_string(i)), i);
        }
    }
}

class FreeFunctions : public ::testing::TestWithParam<ListExports> {};

INSTANTIATE_TEST_SUITE_P(both, FreeFunctions, ::testing::Values(blackExports, whiteExports),
                         [](const ::testing::TestParamInfo<ListExports> &given) {
                             return std::string(given.param.name);
                         });

TEST_P(FreeFunctions, each_list_is_released_by_the_other_lists_export_too)
{
    const ListExports &own = GetParam();
    const ListExports &other = own.list == NumberList::black ? whiteExports : blackExports;
    FrontEngine engine;
    fillBoth(engine.installation, 3);
    NumberListNode *nodes = nullptr;
    UIDListNode *uids = nullptr;
    NumberRecord record{nullptr, nullptr};
    ASSERT_EQ(own.getList(&nodes, -1), 0);
    ASSERT_EQ(own.getUids(&uids, -1), 0);
    ASSERT_EQ(own.read(&record, 1), 0);
    ASSERT_NE(nodes, nullptr);
    ASSERT_NE(uids, nullptr);
    other.freeList(nodes);
    other.freeUids(uids);
    other.freeRecord(&record);
    EXPECT_EQ(record.number, nullptr);
    EXPECT_EQ(record.name, nullptr);
    uids = nullptr;
    ASSERT_EQ(own.getUids(&uids, -1), 0);
    VELQ_FreeMsgUIDList(uids); // the third name of the same entry
}

TEST_P(FreeFunctions, null_and_empty_are_taken)
{
    const ListExports &own = GetParam();
    FrontEngine engine;
    NumberRecord record{nullptr, nullptr};
    own.freeList(nullptr);
    own.freeUids(nullptr);
    own.freeRecord(nullptr);
    own.freeRecord(&record);
    own.freeRecord(&record);
    VELQ_FreeMsgUIDList(nullptr);
    EXPECT_EQ(record.number, nullptr);
    EXPECT_EQ(record.name, nullptr);
    EXPECT_EQ(engine.newLines(), Lines{});
}

TEST_P(FreeFunctions, record_with_one_text_is_released)
{
    const ListExports &own = GetParam();
    FrontEngine engine;
    fillBoth(engine.installation, 1);
    for (const bool keepsName : {true, false}) {
        NumberRecord read{nullptr, nullptr};
        ASSERT_EQ(own.read(&read, 1), 0);
        NumberRecord part{keepsName ? nullptr : read.number, keepsName ? read.name : nullptr};
        NumberRecord rest{keepsName ? read.number : nullptr, keepsName ? nullptr : read.name};
        own.freeRecord(&part);
        EXPECT_EQ(part.number, nullptr);
        EXPECT_EQ(part.name, nullptr);
        own.freeRecord(&rest);
    }
}

TEST_P(FreeFunctions, nothing_is_released_while_the_engine_is_stopped)
{
    const ListExports &own = GetParam();
    FrontEngine engine;
    fillBoth(engine.installation, 2);
    NumberListNode *nodes = nullptr;
    UIDListNode *uids = nullptr;
    NumberRecord record{nullptr, nullptr};
    ASSERT_EQ(own.getList(&nodes, -1), 0);
    ASSERT_EQ(own.getUids(&uids, -1), 0);
    ASSERT_EQ(own.read(&record, 1), 0);
    ASSERT_EQ(engine.session().stop(), 0);
    own.freeList(nodes);
    own.freeUids(uids);
    VELQ_FreeMsgUIDList(uids);
    own.freeRecord(&record);
    // All of it is there still, to be read and to be released once the engine runs again.
    ASSERT_NE(nodes->next, nullptr);
    EXPECT_EQ(utf8(nodes->number), "13800000000");
    EXPECT_EQ(utf8(nodes->next->name), "name 1");
    ASSERT_NE(uids->next, nullptr);
    EXPECT_EQ(uids->next->uid, 2);
    ASSERT_NE(record.number, nullptr);
    ASSERT_NE(record.name, nullptr);
    EXPECT_EQ(utf8(record.number), "13800000000");
    const EngineSession again(engine.installation);
    own.freeList(nodes);
    own.freeUids(uids);
    own.freeRecord(&record);
    EXPECT_EQ(record.number, nullptr);
}

TEST_P(FreeFunctions, thousand_rounds_of_reading_and_releasing_lose_nothing)
{
    const ListExports &own = GetParam();
    FrontEngine engine;
    fillBoth(engine.installation, 5);
    const auto oneRound = [&own] {
        NumberListNode *nodes = nullptr;
        UIDListNode *uids = nullptr;
        NumberRecord record{nullptr, nullptr};
        std::int32_t count = 0;
        VersionRecord version{1, 0};
        ASSERT_EQ(own.getList(&nodes, -1), 0);
        ASSERT_EQ(own.getUids(&uids, 1), 0);
        ASSERT_EQ(own.read(&record, 2), 0);
        ASSERT_EQ(own.count(&count), 0);
        ASSERT_EQ(VELQ_GetCurVersion(&version), 0);
        ASSERT_EQ(count, 5);
        own.freeList(nodes);
        own.freeUids(uids);
        own.freeRecord(&record);
    };
    for (int warmUp = 0; warmUp < 300; ++warmUp) {
        oneRound();
    }
    const std::size_t before = heapBytesInUse();
    for (int round = 0; round < 1000 && !HasFatalFailure(); ++round) {
        oneRound();
    }
    // The smallest block lost in every round would add 32 kilobytes. The allocator counts what it keeps in its own
    // caches as in use, which is less once they have filled.
    EXPECT_LT(heapBytesInUse(), before + 24000);
}

TEST(free_functions, message_store_entries_release_nothing)
{
    FrontEngine engine;
    NumberListNode *nodes = nullptr;
    engine.installation.addNumber(NumberList::black, "1", 0, wide("n"), 0);
    ASSERT_EQ(VELQ_GetBlackNumberList(&nodes, -1), 0);
    VELQ_FreeSpamMsgList(nodes);
    VELQ_FreeSpamMsgBuf(nodes);
    EXPECT_EQ(utf8(nodes->number), "1");
    VELQ_FreeBlackNumberList(nodes);
}

} // namespace
} // namespace velq::test
