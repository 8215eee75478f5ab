// A small bytecode of export calls on one installation, with the stores checked after every step: each operation is one
// byte and its operands. The engine is started, stopped and updated in between.
#include "fuzz_harness.h"

#include <memory>
#include <vector>

using namespace velq::fuzz;

namespace {

constexpr std::size_t longestNumber = 32; // three beyond what the lists take
constexpr std::size_t longestBody = 300;

struct Machine {
    Input input;
    std::unique_ptr<Engine> engine;
    StartVariant variant = StartVariant::plain;
};

NumberList whichList(Input &input)
{
    return input.below(2) == 0 ? NumberList::white : NumberList::black;
}

void restart(Machine &machine)
{
    machine.engine.reset();
    std::uint32_t rating = 99;
    requireResult(VELQ_CheckSpamMsgSync(&rating, nullptr, nullptr), {VELQ_NOT_INITIALIZED}, "rating while stopped");
    require(rating == 99, "rating while stopped wrote a rating");
    machine.variant = machine.input.below(2) == 0 ? StartVariant::plain : StartVariant::norix;
    machine.engine = std::make_unique<Engine>(machine.variant);
}

void addBatch(Input &input)
{
    std::vector<Entry> entries(input.below(5));
    std::vector<NumberListNode> nodes(entries.size());
    bool areAccepted = true;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        entries[i] = {input.number(longestNumber), input.text(longestNumber)};
        areAccepted = areAccepted && entries[i].number.size() <= VELQ_MAX_NUMBER_LENGTH &&
                      entries[i].name.size() <= VELQ_MAX_NAME_LENGTH;
        NumberListNode *next = i + 1 < nodes.size() ? &nodes[i + 1] : nullptr;
        nodes[i] = {next, entries[i].name.data(), entries[i].number.data(), static_cast<std::int32_t>(i)};
    }
    const std::int32_t expected = !areAccepted    ? VELQ_ERR_BATCH_FAILED
                                  : nodes.empty() ? VELQ_ERR_BATCH_ARGUMENT
                                                  : VELQ_SUCCESS;
    requireResult(VELQ_AddWhiteNumberListSync(nodes.empty() ? nullptr : nodes.data(), 1), {expected}, "a batch add");
}

// So small that a whole sequence of them added up is no negative number.
std::string smallCounts(std::string value)
{
    for (char &byte : value) {
        byte = static_cast<char>(byte & 1);
    }
    return value;
}

void updateProbabilities(Input &input)
{
    std::vector<velq::test::ProbabilityRow> rows;
    bool areWellFormed = true;
    for (std::uint32_t left = input.below(5); left > 0; --left) {
        if (input.below(8) == 0) {
            const std::string key = input.bytes(40);
            rows.push_back({velq::test::Value::ofBlob(key), velq::test::Value::ofBlob(smallCounts(input.bytes(40)))});
            areWellFormed = false; // or by chance; then either result will do
        } else {
            rows.push_back(velq::test::probabilityRow(input.text(6), {input.below(100), input.below(100), 1}));
        }
    }
    std::filesystem::remove(updateFile());
    velq::test::makeProbabilityUpdate(updateFile(), rows);
    const WideText path = velq::test::widePath(updateFile());
    const std::int32_t result = VELQ_UpdateData(path.c_str(), 7, nullptr, 0);
    requireResult(result, {VELQ_SUCCESS, areWellFormed ? VELQ_SUCCESS : VELQ_ERR_FAILED}, "a probability update");
    std::filesystem::remove(updateFile());
}

void updateWhiteNumbers(Input &input)
{
    std::vector<velq::test::WhiteNumberRow> rows;
    for (std::uint32_t left = input.below(5); left > 0; --left) {
        if (input.below(8) == 0) {
            rows.push_back({velq::test::Value::ofBlob(input.bytes(70)), velq::test::Value::ofBlob(input.bytes(70))});
        } else {
            rows.push_back(velq::test::whiteNumberRow(input.number(longestNumber), input.text(longestNumber)));
        }
    }
    std::filesystem::remove(updateFile());
    velq::test::makeWhiteNumberUpdate(updateFile(), rows);
    const WideText path = velq::test::widePath(updateFile());
    const velq::test::Rows before = installation().numberRows(NumberList::white);
    const std::int32_t result = VELQ_UpdateData(nullptr, 0, path.c_str(), 8);
    requireResult(result, {VELQ_SUCCESS, VELQ_ERR_FAILED}, "a white-number update");
    require(result == 0 || installation().numberRows(NumberList::white) == before, "a refused update changed the list");
    std::filesystem::remove(updateFile());
}

void deleteSome(Input &input)
{
    const bool isWhite = whichList(input) == NumberList::white;
    const std::uint32_t kind = input.below(3);
    const std::int32_t value = input.integer();
    if (kind == 0) {
        requireResult(isWhite ? VELQ_DeleteWhiteNumberByUID(value) : VELQ_DeleteBlackNumberByUID(value), {0},
                      "a deletion by uid");
    } else if (kind == 1) {
        requireResult(isWhite ? VELQ_DeleteWhiteNumberByExtendID(value) : VELQ_DeleteBlackNumberByExtendID(value), {0},
                      "a deletion by extend id");
    } else {
        requireResult(isWhite ? VELQ_RemoveAllWhiteNumberSync(value) : VELQ_RemoveAllBlackNumberSync(value),
                      {value >= VELQ_HIDDEN_ANY && value <= 1 ? VELQ_SUCCESS : VELQ_ERR_FAILED}, "a remove-all");
    }
}

void callStubs()
{
    requireResult(VELQ_CheckSpamMsgASync(), {VELQ_ERR_NOT_SUPPORTED}, "VELQ_CheckSpamMsgASync");
    requireResult(VELQ_GetSpamMsgList(nullptr), {VELQ_SUCCESS}, "VELQ_GetSpamMsgList");
    requireResult(VELQ_AddSpamMsg(nullptr, nullptr, nullptr), {VELQ_SUCCESS}, "VELQ_AddSpamMsg");
    requireResult(VELQ_MT_DumpBin(nullptr), {VELQ_SUCCESS}, "VELQ_MT_DumpBin");
    requireResult(VELQ_UpdateData(nullptr, 1, nullptr, 1), {VELQ_ERR_FAILED}, "VELQ_UpdateData without files");
    requireResult(VELQ_Initialize(nullptr), {VELQ_SUCCESS}, "a second start");
}

void step(Machine &machine)
{
    Input &input = machine.input;
    switch (input.below(14)) {
    case 0:
        restart(machine);
        break;
    case 1:
    case 2:
    case 3: {
        const NumberList list = whichList(input);
        const Entry entry{input.number(longestNumber), input.text(longestNumber)};
        addSingle(list, entry, static_cast<std::int32_t>(input.below(3)), input.integer());
        break;
    }
    case 4: {
        const NumberList list = whichList(input);
        removeSingle(list, input.number(longestNumber));
        break;
    }
    case 5:
        addBatch(input);
        break;
    case 6:
    case 7: {
        const WideText number = input.number(longestNumber);
        rate(input.text(longestBody), number);
        break;
    }
    case 8: {
        const WideText number = input.number(longestNumber);
        giveFeedback(input.text(longestBody), number);
        break;
    }
    case 9:
        updateProbabilities(input);
        break;
    case 10:
        updateWhiteNumbers(input);
        break;
    case 11:
        deleteSome(input);
        break;
    case 12:
        readLists(static_cast<std::int32_t>(input.below(3)) - 1);
        readVersions();
        break;
    default:
        callStubs();
        break;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    constexpr int mostSteps = 30;
    restoreInstallation();
    Machine machine{Input(data, size), nullptr, StartVariant::plain};
    machine.engine = std::make_unique<Engine>(machine.variant);
    for (int steps = 0; steps < mostSteps && !machine.input.isAtEnd(); ++steps) {
        step(machine);
        requireSoundStores();
    }
    return 0;
}
