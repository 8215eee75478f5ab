// Number lists over the exports.
#include "kit/engine/number_list.h"

#include "kit/base/status.h"

#include <algorithm>

namespace velq::kit {

const ListCalls blackListCalls = {.name = "black",
                                  .add = VELQ_AddBlackNumberSync,
                                  .remove = VELQ_RemoveBlackNumberSync,
                                  .removeAll = VELQ_RemoveAllBlackNumberSync,
                                  .deleteByUid = VELQ_DeleteBlackNumberByUID,
                                  .deleteByExtendID = VELQ_DeleteBlackNumberByExtendID,
                                  .getList = VELQ_GetBlackNumberList,
                                  .freeList = VELQ_FreeBlackNumberList,
                                  .getUids = VELQ_GetBlackNumberUIDList,
                                  .freeUids = VELQ_FreeBlackNumberUIDList,
                                  .count = VELQ_GetTotalCountOfBlackNumber};

const ListCalls whiteListCalls = {.name = "white",
                                  .add = VELQ_AddWhiteNumberSync,
                                  .remove = VELQ_RemoveWhiteNumberSync,
                                  .removeAll = VELQ_RemoveAllWhiteNumberSync,
                                  .deleteByUid = VELQ_DeleteWhiteNumberByUID,
                                  .deleteByExtendID = VELQ_DeleteWhiteNumberByExtendID,
                                  .getList = VELQ_GetWhiteNumberList,
                                  .freeList = VELQ_FreeWhiteNumberList,
                                  .getUids = VELQ_GetWhiteNumberUIDList,
                                  .freeUids = VELQ_FreeWhiteNumberUIDList,
                                  .count = VELQ_GetTotalCountOfWhiteNumber};

static std::string numberFault(const std::string &number)
{
    const bool plain = std::ranges::all_of(number, [](unsigned char unit) { return unit > 0x20 && unit < 0x7F; });
    if (number.empty() || !plain) {
        return "a number has at least one character, and only ASCII characters without blanks; correct it";
    }
    if (number.size() > VELQ_MAX_NUMBER_LENGTH) {
        return "the number is longer than 29 characters; shorten it";
    }
    return {};
}

std::string entryFault(const ListEntry &entry)
{
    if (std::string fault = numberFault(entry.number); !fault.empty()) {
        return fault;
    }
    const auto name = wideFromUtf8(entry.name);
    if (!name) {
        return "the name is not UTF-8; convert it";
    }
    if (name->size() > VELQ_MAX_NAME_LENGTH) {
        return "the name is longer than 29 UTF-16 units; shorten it";
    }
    if (name->find(VELQ_WideChar{0}) != WideText::npos) {
        return "the name holds a zero character; remove it";
    }
    if (std::ranges::find(hiddenFlags, entry.hidden) == hiddenFlags.end()) {
        return "hidden is neither 0 nor 1; correct it";
    }
    return {};
}

// The entry's texts in the form that the exports take.
struct WideEntry {
    WideText number;
    WideText name;

    NumberRecord record()
    {
        return {number.data(), name.data()};
    }
};

static WideEntry wideEntry(const ListEntry &entry)
{
    return {wideArgument(entry.number, "the number"), wideArgument(entry.name, "the name")};
}

static std::string listName(const ListCalls &calls)
{
    return std::string("the ") + calls.name + " list";
}

static void appendEntries(const Engine &engine, const ListCalls &calls, std::int32_t hidden,
                          std::vector<ListEntry> &entries)
{
    NumberListNode *nodes = nullptr;
    engine.check(calls.getList(&nodes, hidden), "reading " + listName(calls) + " failed");
    UIDListNode *uids = nullptr;
    const int code = calls.getUids(&uids, hidden);
    const UIDListNode *uid = uids;
    bool paired = code == VELQ_SUCCESS;
    for (const NumberListNode *node = nodes; node != nullptr && paired; node = node->next) {
        paired = uid != nullptr;
        if (paired) {
            entries.push_back({utf8FromWide(node->number), utf8FromWide(node->name), hidden, node->extendID, uid->uid});
            uid = uid->next;
        }
    }
    paired = paired && uid == nullptr;
    calls.freeList(nodes);
    calls.freeUids(uids);
    engine.check(code, "reading " + listName(calls) + " failed");
    if (!paired) {
        throw Error(Status::inputOutput, listName(calls) + " changed while it was read; run the command again");
    }
}

std::vector<ListEntry> readList(const Engine &engine, const ListCalls &calls, std::int32_t hidden)
{
    std::vector<ListEntry> entries;
    for (const std::int32_t flag : hiddenFlags) {
        if (hidden == VELQ_HIDDEN_ANY || hidden == flag) {
            appendEntries(engine, calls, flag, entries);
        }
    }
    return entries;
}

std::int32_t countList(const Engine &engine, const ListCalls &calls)
{
    std::int32_t count = 0;
    engine.check(calls.count(&count), "counting " + listName(calls) + " failed");
    return count;
}

void addEntry(const Engine &engine, const ListCalls &calls, const ListEntry &entry)
{
    WideEntry wide = wideEntry(entry);
    const NumberRecord record = wide.record();
    engine.check(calls.add(&record, entry.hidden, entry.extendID), "adding to " + listName(calls) + " failed");
}

void removeNumber(const Engine &engine, const ListCalls &calls, const std::string &number)
{
    WideEntry wide = wideEntry({.number = number, .name = {}});
    const NumberRecord record = wide.record();
    engine.check(calls.remove(&record), "removing from " + listName(calls) + " failed");
}

void addWhiteBatch(const Engine &engine, const std::vector<ListEntry> &entries)
{
    for (const std::int32_t hidden : hiddenFlags) {
        std::vector<WideEntry> texts;
        std::vector<NumberListNode> nodes;
        for (const ListEntry &entry : entries) {
            if (entry.hidden == hidden) {
                texts.push_back(wideEntry(entry));
                nodes.push_back({nullptr, nullptr, nullptr, entry.extendID});
            }
        }
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            nodes[i].name = texts[i].name.data();
            nodes[i].number = texts[i].number.data();
            nodes[i].next = i + 1 < nodes.size() ? &nodes[i + 1] : nullptr;
        }
        if (!nodes.empty()) {
            engine.check(VELQ_AddWhiteNumberListSync(nodes.data(), hidden),
                         "adding the batch to the white list failed");
        }
    }
}

} // namespace velq::kit
