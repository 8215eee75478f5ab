// The records of the interface, byte by byte, at 32-bit and at 64-bit pointers: hosts lay them out by hand.
#include "support/wide.h"
#include "velq.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace velq::test {
namespace {

static_assert(sizeof(VELQ_WideChar) == 2 && sizeof(void *) % 4 == 0);

template <typename Record>
std::string bytesOf(const Record &record)
{
    std::string out(sizeof record, '\0');
    std::memcpy(out.data(), &record, sizeof record);
    return out;
}

// A pointer whose bytes all differ: 01 02 03 ... counted on from `first`.
template <typename Pointee>
Pointee *numberedPointer(unsigned first)
{
    std::uintptr_t value = 0;
    for (std::size_t i = 0; i < sizeof value; ++i) {
        value |= static_cast<std::uintptr_t>(first + i) << (8 * i);
    }
    return reinterpret_cast<Pointee *>(value); // never followed
}

std::string numberedBytes(unsigned first)
{
    std::string out;
    for (std::size_t i = 0; i < sizeof(void *); ++i) {
        out += static_cast<char>(first + i);
    }
    return out;
}

constexpr std::int32_t word = 0x44332211;
const std::string wordBytes = bytes({0x11, 0x22, 0x33, 0x44});

// Records end at a multiple of the pointer's size; what fills them up is not looked at.
constexpr std::size_t padding = sizeof(void *) - 4;

TEST(record_layout, number_record_is_number_and_name)
{
    const NumberRecord record{numberedPointer<VELQ_WideChar>(1), numberedPointer<VELQ_WideChar>(0x21)};
    EXPECT_EQ(hex(bytesOf(record)), hex(numberedBytes(1) + numberedBytes(0x21)));
}

TEST(record_layout, number_list_node_is_next_name_number_and_link)
{
    NumberListNode node;
    std::memset(&node, 0, sizeof node);
    node.next = numberedPointer<NumberListNode>(1);
    node.name = numberedPointer<VELQ_WideChar>(0x21);
    node.number = numberedPointer<VELQ_WideChar>(0x41);
    node.extendID = word;
    const std::string data = bytesOf(node);
    EXPECT_EQ(data.size(), 4 * sizeof(void *));
    EXPECT_EQ(hex(data.substr(0, data.size() - padding)),
              hex(numberedBytes(1) + numberedBytes(0x21) + numberedBytes(0x41) + wordBytes));
}

TEST(record_layout, uid_list_node_is_next_and_identifier)
{
    UIDListNode node;
    std::memset(&node, 0, sizeof node);
    node.next = numberedPointer<UIDListNode>(1);
    node.uid = word;
    const std::string data = bytesOf(node);
    EXPECT_EQ(data.size(), 2 * sizeof(void *));
    EXPECT_EQ(hex(data.substr(0, data.size() - padding)), hex(numberedBytes(1) + wordBytes));
}

TEST(record_layout, version_record_is_two_words)
{
    const VersionRecord record{1, word};
    EXPECT_EQ(hex(bytesOf(record)), "0100000011223344");
}

} // namespace
} // namespace velq::test
