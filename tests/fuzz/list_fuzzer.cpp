// Every list export with arbitrary records: absent and over-long texts, any flag, any identifier. Input: one byte of
// flags, then calls to the end.
#include "fuzz_harness.h"

#include <list>

using namespace velq::fuzz;

namespace {

constexpr std::size_t longestText = 45; // beyond what the lists take

NumberList whichList(Input &input)
{
    return input.below(2) == 0 ? NumberList::white : NumberList::black;
}

// Texts of which some are absent.
struct LooseRecord {
    WideText number;
    WideText name;
    NumberRecord record{};

    explicit LooseRecord(Input &input)
    {
        const std::uint32_t absent = input.below(8);
        number = input.number(longestText);
        name = input.text(longestText);
        record = {absent == 1 ? nullptr : number.data(), absent == 2 ? nullptr : name.data()};
    }

    bool isAccepted() const
    {
        return record.number != nullptr && number.size() <= VELQ_MAX_NUMBER_LENGTH &&
               (record.name == nullptr || name.size() <= VELQ_MAX_NAME_LENGTH);
    }
};

bool isFlag(std::int32_t hidden)
{
    return hidden == 0 || hidden == 1;
}

void callAdd(Input &input)
{
    const NumberList list = whichList(input);
    const std::int32_t hidden = input.integer();
    const std::int32_t extendID = input.integer();
    if (input.below(4) != 0) {
        Entry entry;
        entry.number = input.number(longestText);
        entry.name = input.text(longestText);
        addSingle(list, entry, hidden, extendID);
        return;
    }
    const LooseRecord loose(input);
    const std::int32_t result = list == NumberList::white ? VELQ_AddWhiteNumberSync(&loose.record, hidden, extendID)
                                                          : VELQ_AddBlackNumberSync(&loose.record, hidden, extendID);
    requireResult(result, {loose.isAccepted() && isFlag(hidden) ? VELQ_SUCCESS : VELQ_ERR_FAILED}, "a single add");
}

void callRemove(Input &input)
{
    const NumberList list = whichList(input);
    const LooseRecord loose(input);
    const std::int32_t result = list == NumberList::white ? VELQ_RemoveWhiteNumberSync(&loose.record)
                                                          : VELQ_RemoveBlackNumberSync(&loose.record);
    requireResult(result, {loose.isAccepted() ? VELQ_SUCCESS : VELQ_ERR_FAILED}, "a removal");
}

void callBatch(Input &input)
{
    constexpr std::uint32_t mostNodes = 6;
    const std::int32_t hidden = input.integer();
    std::list<LooseRecord> texts;
    std::list<NumberListNode> nodes;
    bool areAccepted = true;
    for (std::uint32_t left = input.below(mostNodes + 1); left > 0; --left) {
        const LooseRecord &loose = texts.emplace_back(input);
        areAccepted = areAccepted && loose.isAccepted();
        nodes.push_back({nullptr, loose.record.name, loose.record.number, input.integer()});
    }
    NumberListNode *next = nullptr;
    for (auto node = nodes.rbegin(); node != nodes.rend(); ++node) {
        node->next = next;
        next = &*node;
    }
    const auto before = installation().numberRows(NumberList::white).size();
    const std::int32_t result = VELQ_AddWhiteNumberListSync(next, hidden);
    const std::int32_t expected = !areAccepted                       ? VELQ_ERR_BATCH_FAILED
                                  : !isFlag(hidden) || nodes.empty() ? VELQ_ERR_BATCH_ARGUMENT
                                                                     : VELQ_SUCCESS;
    requireResult(result, {expected}, "a batch add");
    const auto after = installation().numberRows(NumberList::white).size();
    require(after == before + (result == 0 ? nodes.size() : 0), "a batch is not all or none");
}

void callDelete(Input &input)
{
    const NumberList list = whichList(input);
    const bool isWhite = list == NumberList::white;
    const std::int32_t value = input.integer();
    switch (input.below(3)) {
    case 0:
        requireResult(isWhite ? VELQ_DeleteWhiteNumberByUID(value) : VELQ_DeleteBlackNumberByUID(value), {0},
                      "a deletion by uid");
        break;
    case 1:
        requireResult(isWhite ? VELQ_DeleteWhiteNumberByExtendID(value) : VELQ_DeleteBlackNumberByExtendID(value), {0},
                      "a deletion by extend id");
        break;
    default: {
        const bool isFilter = isFlag(value) || value == VELQ_HIDDEN_ANY;
        requireResult(isWhite ? VELQ_RemoveAllWhiteNumberSync(value) : VELQ_RemoveAllBlackNumberSync(value),
                      {isFilter ? VELQ_SUCCESS : VELQ_ERR_FAILED}, "a remove-all");
        break;
    }
    }
}

void callNullPointers()
{
    requireResult(VELQ_AddWhiteNumberSync(nullptr, 0, 0), {VELQ_ERR_FAILED}, "a null record");
    requireResult(VELQ_AddBlackNumberSync(nullptr, 0, 0), {VELQ_ERR_FAILED}, "a null record");
    requireResult(VELQ_RemoveWhiteNumberSync(nullptr), {VELQ_ERR_FAILED}, "a null record");
    requireResult(VELQ_GetWhiteNumberList(nullptr, 0), {VELQ_ERR_FAILED}, "a null list");
    requireResult(VELQ_GetBlackNumberUIDList(nullptr, 0), {VELQ_ERR_FAILED}, "a null list");
    requireResult(VELQ_ReadWhiteNumberByUID(nullptr, 1), {VELQ_ERR_FAILED}, "a null record");
    requireResult(VELQ_GetTotalCountOfBlackNumber(nullptr), {VELQ_ERR_FAILED}, "a null count");
    VELQ_FreeWhiteNumberList(nullptr);
    VELQ_FreeBlackNumberUIDList(nullptr);
    VELQ_FreeWhiteNumber(nullptr);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    constexpr int mostCalls = 24;
    Input input(data, size);
    const std::uint8_t flags = input.byte();
    restoreInstallation();
    if ((flags & 2) != 0) {
        installation().enableDebug();
    }
    {
        const Engine engine((flags & 1) != 0 ? StartVariant::norix : StartVariant::plain);
        for (int calls = 0; calls < mostCalls && !input.isAtEnd(); ++calls) {
            switch (input.below(7)) {
            case 0:
            case 1:
                callAdd(input);
                break;
            case 2:
                callRemove(input);
                break;
            case 3:
                callBatch(input);
                break;
            case 4:
                callDelete(input);
                break;
            case 5:
                readLists(input.integer());
                break;
            default:
                callNullPointers();
                break;
            }
        }
    }
    requireSoundStores();
    return 0;
}
