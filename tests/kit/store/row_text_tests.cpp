// Single keys and values as text.
#include "base/refusal.h"
#include "kit/base/status.h"
#include "kit/store/row_text.h"

#include <gtest/gtest.h>
#include <string>

namespace velq::kit {
namespace {

StoredValue counts(std::uint32_t spam, std::uint32_t ham, std::uint32_t reserved)
{
    return StoredValue::ofBlob(valueOf({spam, ham, reserved}));
}

TEST(row_text, keys_are_units_where_they_are_some_and_else_typed)
{
    EXPECT_EQ(keyText(StoredValue::ofBlob(bytesOfUnits(u"a b"))), "a\\u0020b");
    EXPECT_EQ(keyText(StoredValue::ofBlob(messageCountKey())), ".MSG_CNT");
    EXPECT_EQ(keyText(StoredValue::ofBlob(priorKey())), ".ROBX");
    EXPECT_EQ(keyText(StoredValue::ofBlob("abc")), "!blob:616263");
    EXPECT_EQ(keyText(StoredValue::ofBlob("")), "!blob:");
    EXPECT_EQ(keyText({StoredValue::Kind::text, 0, 0, "ab"}), "!text:6162");
    EXPECT_EQ(keyText(StoredValue::ofInteger(-5)), "!integer:-5");
    EXPECT_EQ(keyText({StoredValue::Kind::real, 0, 0.5, {}}), "!real:3fe0000000000000");
    EXPECT_EQ(keyText({}), "!null");
}

TEST(row_text, values_show_as_many_counts_as_asked_and_no_zeros_beyond)
{
    EXPECT_EQ(valueText(counts(5, 0, 0), 1), "5");
    EXPECT_EQ(valueText(counts(5, 0, 0), 2), "5\t0");
    EXPECT_EQ(valueText(counts(5, 6, 0), 1), "5\t6");
    EXPECT_EQ(valueText(counts(5, 0, 7), 1), "5\t0\t7");
    EXPECT_EQ(valueText(StoredValue::ofBlob("\x01"), 2), "blob:01");
    EXPECT_EQ(valueText({}, 2), "null");
    EXPECT_EQ(countsText({5, 6, 7}), "5 spam, 6 ham");
}

TEST(row_text, keys_and_values_come_back)
{
    const std::string name = "store.txt";
    const TextPlace place{name, 3};
    for (const StoredValue &key : {StoredValue::ofBlob(bytesOfUnits(u"!a\\\u202E")), StoredValue::ofBlob("abc"),
                                   StoredValue::ofInteger(7), StoredValue{}}) {
        EXPECT_EQ(keyOf(place, keyText(key)), key) << keyText(key);
    }
    EXPECT_EQ(valueOfFields(place, {"ab", "5", "6", "7"}, 2), counts(5, 6, 7));
    EXPECT_EQ(valueOfFields(place, {"prior", "5"}, 1), counts(5, 0, 0));
    EXPECT_EQ(valueOfFields(place, {"ab", "blob:01"}, 2), StoredValue::ofBlob("\x01"));
    EXPECT_EQ(valueOfFields(place, {"ab", "null"}, 2), StoredValue{});
}

TEST(row_text, refusal_names_the_place)
{
    const std::string name = "store.txt";
    EXPECT_EQ(refusalOf([&name] {
                  keyOf({name, 3}, "a\\b");
              }),
              "store.txt:3: a backslash stands for itself as \\\\, for a unit as \\u and 4 hex digits");
}

} // namespace
} // namespace velq::kit
