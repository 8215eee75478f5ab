// Conversions between the records of the interface and the columns of the lists.
#include "VELQ_Number_Records.h"

#include <cstring>

bool convertEntry(NumberEntry *entry, const VELQ_WideChar *number, const VELQ_WideChar *name) noexcept
{
    if (number == nullptr || wideLength(number) > VELQ_MAX_NUMBER_LENGTH || wideLength(name) > VELQ_MAX_NAME_LENGTH) {
        return false;
    }
    *entry = {};
    narrowNumber(entry->number, number);
    if (name != nullptr) {
        std::memcpy(entry->name, name, wideLength(name) * sizeof(VELQ_WideChar));
    }
    return true;
}

// The stored key in display order as wide text; null when memory is out. No text reads as empty.
static VELQ_WideChar *copyNumberColumn(VELQ_DSH_Statement *statement, int column) noexcept
{
    const auto *stored = reinterpret_cast<const char *>(VELQ_DSH_getText(statement, column));
    char *number = duplicateText(stored != nullptr ? stored : "");
    if (number == nullptr) {
        return nullptr;
    }
    reverseNumber(number);
    auto *wide = static_cast<VELQ_WideChar *>(allocateMemory((std::strlen(number) + 1) * sizeof(VELQ_WideChar)));
    if (wide != nullptr) {
        widenNumber(wide, number);
    }
    freeMemory(number);
    return wide;
}

// The stored name up to its first zero unit, or up to the blob's end; null when memory is out.
static VELQ_WideChar *copyNameColumn(VELQ_DSH_Statement *statement, int column) noexcept
{
    const auto *bytes = static_cast<const unsigned char *>(VELQ_DSH_getBlob(statement, column));
    const auto units = static_cast<std::size_t>(VELQ_DSH_getBytes(statement, column)) / sizeof(VELQ_WideChar);
    auto *name = static_cast<VELQ_WideChar *>(allocateMemory((units + 1) * sizeof(VELQ_WideChar)));
    if (name == nullptr || bytes == nullptr) {
        return name;
    }
    for (std::size_t i = 0; i < units; ++i) {
        std::memcpy(&name[i], bytes + i * sizeof(VELQ_WideChar), sizeof(VELQ_WideChar));
        if (name[i] == 0) {
            break;
        }
    }
    return name;
}

NumberListNode *readNumberNode(VELQ_DSH_Statement *statement) noexcept
{
    auto *node = static_cast<NumberListNode *>(allocateMemory(sizeof(NumberListNode)));
    if (node == nullptr) {
        return nullptr;
    }
    node->number = copyNumberColumn(statement, 0);
    node->name = copyNameColumn(statement, 1);
    node->extendID = VELQ_DSH_getInt(statement, 2);
    if (node->number == nullptr || node->name == nullptr) {
        freeNumberList(node);
        return nullptr;
    }
    return node;
}

bool readNumberRecord(NumberRecord *record, VELQ_DSH_Statement *statement) noexcept
{
    NumberRecord read{copyNumberColumn(statement, 0), copyNameColumn(statement, 1)};
    if (read.number == nullptr || read.name == nullptr) {
        freeNumberRecord(&read);
        return false;
    }
    *record = read;
    return true;
}

void freeNumberList(NumberListNode *list) noexcept
{
    while (list != nullptr) {
        NumberListNode *next = list->next;
        freeMemory(list->name);
        freeMemory(list->number);
        freeMemory(list);
        list = next;
    }
}

void freeUIDList(UIDListNode *list) noexcept
{
    while (list != nullptr) {
        UIDListNode *next = list->next;
        freeMemory(list);
        list = next;
    }
}

void freeNumberRecord(NumberRecord *record) noexcept
{
    if (record == nullptr) {
        return;
    }
    freeMemory(record->name);
    record->name = nullptr;
    freeMemory(record->number);
    record->number = nullptr;
}
