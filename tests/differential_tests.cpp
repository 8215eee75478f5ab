// Compares the engine, through its exports only, with the reference model: random installations, messages, list edits,
// feedback and updates, compared after every operation and, with all five databases, at the end of every sequence.
//
// Every test is reproducible: a failure names the seed and the operations that led to it. The environment variable
// VELQ_DIFFERENTIAL_ROUNDS multiplies the number of sequences for a longer run.
#include "reference/engine_model.h"
#include "reference/generator.h"
#include "reference/stores.h"
#include "support/engine_session.h"
#include "support/installation.h"
#include "support/system.h"
#include "support/wide.h"
#include "support/without_sync.h"
#include "velq.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace velq::reference {
namespace {

using test::EngineSession;
using test::Installation;
using test::StartVariant;

// The engine remembers the prior for the life of the process, so all models of the process share it.
LoadedState &loadedState()
{
    static LoadedState state;
    return state;
}

std::uint64_t rounds()
{
    const char *text = std::getenv("VELQ_DIFFERENTIAL_ROUNDS");
    const long value = text == nullptr ? 1 : std::strtol(text, nullptr, 10);
    return value < 1 ? 1 : static_cast<std::uint64_t>(value);
}

const VELQ_WideChar *pointer(const TextArgument &argument)
{
    return argument ? argument->c_str() : nullptr;
}

// Records hold pointers to modifiable text; the engine only reads what is passed in.
VELQ_WideChar *recordPointer(TextArgument &argument)
{
    return argument ? argument->data() : nullptr;
}

std::string show(const TextArgument &argument)
{
    return argument ? "\"" + test::utf8(*argument) + "\"" : "null";
}

const char *nameOf(NumberList list)
{
    return list == NumberList::white ? "white" : "black";
}

// How often each way through the pipeline was taken, and how much was compared.
struct Tally {
    int operations = 0;
    int ratings = 0;
    int uncertain = 0;
    int scores = 0;
    int settledBy[8] = {};
    std::uint64_t digest = 0; // of the certain ratings, for comparison between platforms

    void digestNext(std::uint64_t value)
    {
        digest = (digest ^ value) * 0x100000001B3;
    }

    Tally &operator+=(const Tally &other)
    {
        operations += other.operations;
        ratings += other.ratings;
        uncertain += other.uncertain;
        scores += other.scores;
        digestNext(other.digest);
        for (std::size_t i = 0; i < std::size(settledBy); ++i) {
            settledBy[i] += other.settledBy[i];
        }
        return *this;
    }
};

// What the trace says of one rating.
struct RatingTrace {
    std::vector<std::string> texts;
    std::string score;
};

// One installation with the engine started on it and the model beside it. Each operation runs on both.
class Pair {
  public:
    Pair(std::uint64_t seed, bool wideVocabulary, StartVariant variant, bool traced)
        : generate(seed, wideVocabulary), variant_(variant), traced_(traced), seed_(seed)
    {
        if (traced) {
            installation_.enableDebug();
        }
        fillTokens(generate.tokenRows());
        model_ = std::make_unique<EngineModel>(readStores(installation_), loadedState());
        start();
    }

    Generator generate;
    Tally tally;

    // Replaces the token store on both sides.
    void refill(std::uint64_t seed, bool wideVocabulary)
    {
        note("refill with seed " + std::to_string(seed));
        generate = Generator(seed, wideVocabulary);
        fillTokens(generate.tokenRows());
        model_->stores.tokens = readStores(installation_).tokens;
    }

    void restart()
    {
        note("restart");
        session_->stop();
        variant_ = variant_ == StartVariant::plain ? StartVariant::norix : StartVariant::plain;
        start();
    }

    void rate();
    void feedback();
    void addNumber();
    void addWhiteNumbers();
    void removeNumber();
    void removeAll();
    void deleteEntries();
    void readEntries();
    void readVersion();
    void update();

    void expectSameLists();
    void expectSameTokens();
    void expectSameStores();

  private:
    void start();
    void fillTokens(const std::vector<test::ProbabilityRow> &rows);
    void note(const std::string &operation);
    std::string context() const;
    NumberList anyList()
    {
        return generate.dice.chance(50) ? NumberList::white : NumberList::black;
    }
    std::int32_t anyUid(NumberList list);
    RatingTrace newTrace();
    void expectSameTrace(const RatingTrace &trace, const RatedMessage &expected);
    template <typename UpdateRow>
    std::filesystem::path updatePath(Update<UpdateRow> &update, const char *name);
    void makeUpdate(const std::filesystem::path &path, ProbabilityUpdate &update);
    void makeUpdate(const std::filesystem::path &path, WhiteNumberUpdate &update);
    template <typename UpdateRow>
    bool spoil(const std::filesystem::path &path, Update<UpdateRow> &update);

    Installation installation_;
    std::unique_ptr<EngineModel> model_;
    std::unique_ptr<EngineSession> session_;
    StartVariant variant_;
    bool traced_;
    std::uint64_t seed_;
    std::vector<std::string> history_;
    std::streamoff readOfLog_ = 0;
    int updates_ = 0;
};

void Pair::start()
{
    session_.reset();
    session_ = std::make_unique<EngineSession>(installation_, variant_);
    ASSERT_EQ(session_->result(), VELQ_SUCCESS) << context();
    std::error_code none;
    const auto size = std::filesystem::file_size(installation_.logFile(test::logFileNameOf(variant_)), none);
    readOfLog_ = none ? 0 : static_cast<std::streamoff>(size);
}

void Pair::fillTokens(const std::vector<test::ProbabilityRow> &rows)
{
    test::Database database = installation_.open("prob.bin");
    database.exec("DELETE FROM velqTable;");
    test::Rows parameters;
    for (const test::ProbabilityRow &row : rows) {
        parameters.push_back({row.key, row.value});
    }
    database.execForEach("INSERT OR REPLACE INTO velqTable(key, value) VALUES(?, ?);", parameters);
}

void Pair::note(const std::string &operation)
{
    ++tally.operations;
    history_.push_back(operation);
}

std::string Pair::context() const
{
    constexpr std::size_t shown = 12;
    std::ostringstream out;
    out << "seed " << seed_ << ", variant " << variant_ << "; the last of " << history_.size() << " operations:\n";
    for (std::size_t i = history_.size() > shown ? history_.size() - shown : 0; i < history_.size(); ++i) {
        out << "  " << history_[i] << "\n";
    }
    return out.str();
}

// ---- Rating and feedback ----

// The trace lines written since the last call.
RatingTrace Pair::newTrace()
{
    RatingTrace trace;
    std::ifstream in(installation_.logFile(test::logFileNameOf(variant_)), std::ios::binary);
    in.seekg(readOfLog_);
    for (std::string line; std::getline(in, line);) {
        readOfLog_ += static_cast<std::streamoff>(line.size()) + 1;
        if (test::textLinesEndInCrLf && line.ends_with('\r')) {
            line.pop_back();
        }
        const std::string textStart = "===> UTF8-String:";
        if (line.compare(0, textStart.size(), textStart) == 0) {
            trace.texts.push_back(line.substr(textStart.size()));
        } else if (line.compare(0, 8, "checkSpa") == 0) {
            trace.score = line;
        }
    }
    return trace;
}

// The trace shows the filtered text and the tokens, and the spamicity with six decimals.
void Pair::expectSameTrace(const RatingTrace &trace, const RatedMessage &expected)
{
    constexpr std::size_t longestShown = 280;
    if (expected.filtered) {
        std::vector<std::string> texts = {test::utf8(*expected.filtered)};
        for (unsigned i = 0; expected.segmentation && i < expected.segmentation->count; ++i) {
            texts.push_back(test::utf8(expected.segmentation->slots.at(i).token()));
        }
        ASSERT_EQ(trace.texts.size(), texts.size() + 1) << context();
        for (std::size_t i = 0; i < texts.size(); ++i) {
            // Long texts are shown cut.
            EXPECT_EQ(trace.texts[i + 1].substr(0, longestShown), texts[i].substr(0, longestShown)) << context();
        }
    }
    ASSERT_EQ(trace.score.empty(), !expected.score) << context();
    if (expected.score && !expected.score->uncertain) {
        const std::string label = "spamicity=";
        const double spamicity = std::stod(trace.score.substr(trace.score.find(label) + label.size()));
        const auto expectedSpamicity = static_cast<double>(expected.score->spamicity);
        EXPECT_TRUE(std::isnan(spamicity) ? std::isnan(expectedSpamicity)
                                          : std::fabs(spamicity - expectedSpamicity) < 6e-7)
            << "expected " << expectedSpamicity << ", traced " << trace.score << "\n"
            << context();
        ++tally.scores;
    }
}

void Pair::rate()
{
    constexpr std::uint32_t untouched = 99;
    const TextArgument body = generate.body();
    const TextArgument sender = generate.sender();
    note("rate " + show(body) + " from " + show(sender));
    std::uint32_t rating = untouched;
    if (traced_) {
        newTrace();
    }
    ASSERT_EQ(VELQ_CheckSpamMsgSync(&rating, pointer(body), pointer(sender)), VELQ_SUCCESS) << context();
    const RatedMessage expected = model_->rate(body, sender);
    ++tally.ratings;
    ++tally.settledBy[static_cast<int>(expected.by)];
    if (traced_) {
        expectSameTrace(newTrace(), expected);
    }
    if (expected.score && expected.score->uncertain) {
        EXPECT_LE(rating, 2u) << context();
        ++tally.uncertain;
        model_->stores.tokens = readStores(installation_).tokens;
        return;
    }
    EXPECT_EQ(rating, static_cast<std::uint32_t>(expected.rating)) << context();
    tally.digestNext(rating);
}

void Pair::feedback()
{
    const TextArgument body = generate.body();
    if (generate.dice.chance(50)) {
        note("set as spam " + show(body));
        EXPECT_EQ(VELQ_SetMsgAsSpam(pointer(body)), model_->setAsSpam(body)) << context();
    } else {
        const TextArgument number = generate.listNumber();
        note("set as ham " + show(body) + " from " + show(number));
        EXPECT_EQ(VELQ_SetMsgAsHam(pointer(body), pointer(number)), model_->setAsHam(body, number)) << context();
    }
}

// ---- Number lists ----

void Pair::addNumber()
{
    const NumberList list = anyList();
    NumberArgument argument = generate.record();
    const std::int32_t hidden = generate.hiddenFlag();
    const std::int32_t extendID = generate.extendID();
    note(std::string("add to the ") + nameOf(list) + " list " + show(argument.number) + ", " + show(argument.name) +
         ", hidden " + std::to_string(hidden) + ", link " + std::to_string(extendID));
    const NumberRecord record{recordPointer(argument.number), recordPointer(argument.name)};
    const auto add = list == NumberList::white ? VELQ_AddWhiteNumberSync : VELQ_AddBlackNumberSync;
    EXPECT_EQ(add(&record, hidden, extendID), model_->addNumber(list, argument, hidden, extendID)) << context();
}

void Pair::addWhiteNumbers()
{
    std::vector<NodeArgument> arguments = generate.nodes();
    // Which of two refusals comes first is open.
    const std::int32_t hidden = generate.hiddenFlag();
    const bool badFlag = hidden != 0 && hidden != 1;
    std::string description = "add a batch, hidden " + std::to_string(hidden) + ":";
    std::vector<NumberListNode> nodes(arguments.size());
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        if (badFlag) {
            arguments[i] = {test::wide("1"), std::nullopt, 0};
        }
        NodeArgument &argument = arguments[i];
        nodes[i] = {i + 1 < nodes.size() ? &nodes[i + 1] : nullptr, recordPointer(argument.name),
                    recordPointer(argument.number), argument.extendID};
        description += " " + show(argument.number) + "/" + show(argument.name);
    }
    note(description);
    EXPECT_EQ(VELQ_AddWhiteNumberListSync(nodes.empty() ? nullptr : nodes.data(), hidden),
              model_->addWhiteNumbers(arguments, hidden))
        << context();
}

void Pair::removeNumber()
{
    const NumberList list = anyList();
    NumberArgument argument = generate.record();
    note(std::string("remove from the ") + nameOf(list) + " list " + show(argument.number));
    const NumberRecord record{recordPointer(argument.number), recordPointer(argument.name)};
    const auto remove = list == NumberList::white ? VELQ_RemoveWhiteNumberSync : VELQ_RemoveBlackNumberSync;
    EXPECT_EQ(remove(&record), model_->removeNumber(list, argument)) << context();
}

void Pair::removeAll()
{
    const NumberList list = anyList();
    const std::int32_t hidden = generate.hiddenFilter();
    note(std::string("remove all of the ") + nameOf(list) + " list, hidden " + std::to_string(hidden));
    const auto remove = list == NumberList::white ? VELQ_RemoveAllWhiteNumberSync : VELQ_RemoveAllBlackNumberSync;
    EXPECT_EQ(remove(hidden), model_->removeAll(list, hidden)) << context();
}

std::int32_t Pair::anyUid(NumberList list)
{
    const auto &table = list == NumberList::white ? model_->stores.white : model_->stores.black;
    return generate.dice.between(0, static_cast<int>(table.lastUid) + 1);
}

void Pair::deleteEntries()
{
    const NumberList list = anyList();
    const bool white = list == NumberList::white;
    if (generate.dice.chance(60)) {
        const std::int32_t uid = anyUid(list);
        note(std::string("delete from the ") + nameOf(list) + " list uid " + std::to_string(uid));
        const auto remove = white ? VELQ_DeleteWhiteNumberByUID : VELQ_DeleteBlackNumberByUID;
        EXPECT_EQ(remove(uid), model_->deleteByUid(list, uid)) << context();
    } else {
        const std::int32_t extendID = generate.extendID();
        note(std::string("delete from the ") + nameOf(list) + " list link " + std::to_string(extendID));
        const auto remove = white ? VELQ_DeleteWhiteNumberByExtendID : VELQ_DeleteBlackNumberByExtendID;
        EXPECT_EQ(remove(extendID), model_->deleteByExtendID(list, extendID)) << context();
    }
}

std::vector<ShownNumber> shownNumbers(const NumberListNode *head)
{
    std::vector<ShownNumber> out;
    for (const NumberListNode *node = head; node != nullptr; node = node->next) {
        out.push_back({node->number, node->name, node->extendID});
    }
    // The order of the entries is the database's.
    std::sort(out.begin(), out.end());
    return out;
}

std::vector<std::int32_t> shownUids(const UIDListNode *head)
{
    std::vector<std::int32_t> out;
    for (const UIDListNode *node = head; node != nullptr; node = node->next) {
        out.push_back(node->uid);
    }
    std::sort(out.begin(), out.end());
    return out;
}

void Pair::readEntries()
{
    const NumberList list = anyList();
    const bool white = list == NumberList::white;
    const std::int32_t hidden = generate.hiddenFilter();
    const std::int32_t uid = anyUid(list);
    note(std::string("read the ") + nameOf(list) + " list, hidden " + std::to_string(hidden) + ", uid " +
         std::to_string(uid));

    NumberListNode *numbers = nullptr;
    auto expectedNumbers = model_->numbers(list, hidden);
    EXPECT_EQ((white ? VELQ_GetWhiteNumberList : VELQ_GetBlackNumberList)(&numbers, hidden),
              expectedNumbers ? VELQ_SUCCESS : VELQ_ERR_FAILED)
        << context();
    std::vector<ShownNumber> expected = expectedNumbers.value_or(std::vector<ShownNumber>());
    std::sort(expected.begin(), expected.end());
    EXPECT_TRUE(shownNumbers(numbers) == expected) << context();
    VELQ_FreeWhiteNumberList(numbers);

    UIDListNode *uids = nullptr;
    const auto expectedUids = model_->uids(list, hidden);
    EXPECT_EQ((white ? VELQ_GetWhiteNumberUIDList : VELQ_GetBlackNumberUIDList)(&uids, hidden),
              expectedUids ? VELQ_SUCCESS : VELQ_ERR_FAILED)
        << context();
    EXPECT_EQ(shownUids(uids), expectedUids.value_or(std::vector<std::int32_t>())) << context();
    VELQ_FreeWhiteNumberUIDList(uids);

    NumberRecord record{nullptr, nullptr};
    EXPECT_EQ((white ? VELQ_ReadWhiteNumberByUID : VELQ_ReadBlackNumberByUID)(&record, uid), VELQ_SUCCESS) << context();
    const std::optional<ShownNumber> expectedRecord = model_->readByUid(list, uid);
    ASSERT_EQ(record.number != nullptr, expectedRecord.has_value()) << context();
    ASSERT_EQ(record.name != nullptr, expectedRecord.has_value()) << context();
    if (expectedRecord) {
        EXPECT_EQ(test::utf8(record.number), test::utf8(expectedRecord->number)) << context();
        EXPECT_TRUE(record.name == expectedRecord->name) << context();
    }
    VELQ_FreeWhiteNumber(&record);
}

void Pair::expectSameLists()
{
    for (const NumberList list : {NumberList::white, NumberList::black}) {
        const bool white = list == NumberList::white;
        std::int32_t count = -1;
        EXPECT_EQ((white ? VELQ_GetTotalCountOfWhiteNumber : VELQ_GetTotalCountOfBlackNumber)(&count), VELQ_SUCCESS);
        EXPECT_EQ(count, model_->count(list)) << nameOf(list) << "; " << context();
        NumberListNode *head = nullptr;
        EXPECT_EQ((white ? VELQ_GetWhiteNumberList : VELQ_GetBlackNumberList)(&head, VELQ_HIDDEN_ANY), VELQ_SUCCESS);
        std::vector<ShownNumber> expected = *model_->numbers(list, VELQ_HIDDEN_ANY);
        std::sort(expected.begin(), expected.end());
        EXPECT_TRUE(shownNumbers(head) == expected) << nameOf(list) << "; " << context();
        VELQ_FreeBlackNumberList(head);
    }
}

// ---- Updates and versions ----

void Pair::readVersion()
{
    const std::int32_t command = generate.dice.between(-1, 3);
    note("read the version of " + std::to_string(command));
    VersionRecord record{command, -5};
    EXPECT_EQ(VELQ_GetCurVersion(&record), VELQ_SUCCESS) << context();
    EXPECT_EQ(record.command, command) << context();
    EXPECT_EQ(record.version, model_->version(command)) << context();
}

// Now and then there is no usable file at the path.
template <typename UpdateRow>
bool Pair::spoil(const std::filesystem::path &path, Update<UpdateRow> &update)
{
    if (update.pathLength > 255) {
        return true;
    }
    if (!generate.dice.chance(8)) {
        return false;
    }
    update.usable = false;
    switch (generate.dice.below(3)) {
    case 0:
        break;
    case 1:
        std::ofstream(path) << "This is no database, though it is long enough to be looked at as one: "
                            << std::string(512, 'x');
        break;
    default:
        test::Database(path, test::OpenMode::create).exec("CREATE TABLE unrelated(key, value, number, name);");
    }
    return true;
}

void Pair::makeUpdate(const std::filesystem::path &path, ProbabilityUpdate &update)
{
    update.rows = generate.probabilityRows();
    if (!spoil(path, update)) {
        test::makeProbabilityUpdate(path, update.rows);
    }
}

void Pair::makeUpdate(const std::filesystem::path &path, WhiteNumberUpdate &update)
{
    update.rows = generate.whiteNumberRows();
    if (!spoil(path, update)) {
        test::makeWhiteNumberUpdate(path, update.rows);
    }
}

// A fresh path, sometimes of just the longest length that is taken, sometimes of one byte more.
template <typename UpdateRow>
std::filesystem::path Pair::updatePath(Update<UpdateRow> &update, const char *name)
{
    std::string file = name + std::to_string(++updates_);
    const std::size_t length = test::utf8(test::widePath(installation_.folder() / file)).size();
    if (generate.dice.chance(6) && length < 255) {
        file += std::string(255 - length + generate.dice.below(2), 'n');
    }
    const std::filesystem::path path = installation_.folder() / file;
    update.pathLength = test::utf8(test::widePath(path)).size();
    update.version = generate.dice.between(1, 1000);
    return path;
}

void Pair::update()
{
    std::optional<ProbabilityUpdate> probability;
    std::optional<WhiteNumberUpdate> whiteNumbers;
    TextArgument probabilityPath;
    TextArgument whiteNumberPath;
    if (generate.dice.chance(75)) {
        probability.emplace();
        const std::filesystem::path path = updatePath(*probability, "prob");
        makeUpdate(path, *probability);
        probabilityPath = test::widePath(path);
    }
    if (generate.dice.chance(70)) {
        whiteNumbers.emplace();
        const std::filesystem::path path = updatePath(*whiteNumbers, "wn");
        makeUpdate(path, *whiteNumbers);
        whiteNumberPath = test::widePath(path);
    }
    note("update from " + show(probabilityPath) + " and " + show(whiteNumberPath));
    const std::int32_t result = VELQ_UpdateData(pointer(probabilityPath), probability ? probability->version : 0,
                                                pointer(whiteNumberPath), whiteNumbers ? whiteNumbers->version : 0);
    EXPECT_EQ(result, model_->update(probability, whiteNumbers)) << context();
    for (const std::int32_t command : {VELQ_DATA_PROBABILITY, VELQ_DATA_WHITE_NUMBERS, VELQ_DATA_RULES}) {
        VersionRecord record{command, -5};
        EXPECT_EQ(VELQ_GetCurVersion(&record), VELQ_SUCCESS) << context();
        EXPECT_EQ(record.version, model_->version(command)) << context();
    }
}

// ---- Comparison of the stores ----

void Pair::expectSameTokens()
{
    Stores expected;
    Stores actual;
    expected.tokens = model_->stores.tokens;
    actual.tokens = readStores(installation_).tokens;
    EXPECT_EQ(differences(expected, actual), std::vector<std::string>()) << context();
}

void Pair::expectSameStores()
{
    EXPECT_EQ(differences(model_->stores, readStores(installation_)), std::vector<std::string>()) << context();
    for (const char *file : {"prob.bin", "bn.bin", "wn.bin", "ru.bin", "ver.bin"}) {
        EXPECT_EQ(installation_.open(file).integrityCheck(), "ok") << file << "; " << context();
    }
}

// ---- The tests ----

class WithoutSync : public testing::Environment {
  public:
    void SetUp() override
    {
        test::disableDatabaseSync();
    }
};

const testing::Environment *const withoutSync = testing::AddGlobalTestEnvironment(new WithoutSync);

StartVariant variantOf(std::uint64_t seed)
{
    return seed % 2 == 0 ? StartVariant::plain : StartVariant::norix;
}

void report(const Tally &tally)
{
    testing::Test::RecordProperty("operations", tally.operations);
    testing::Test::RecordProperty("ratings", tally.ratings);
    testing::Test::RecordProperty("uncertainRatings", tally.uncertain);
    testing::Test::RecordProperty("comparedScores", tally.scores);
    std::ostringstream ways;
    for (const int count : tally.settledBy) {
        ways << count << " ";
    }
    testing::Test::RecordProperty("settledBy", ways.str());
    std::cout << "[ RATINGS  ] " << testing::UnitTest::GetInstance()->current_test_info()->test_suite_name() << "/"
              << testing::UnitTest::GetInstance()->current_test_info()->name() << ": " << tally.ratings << " ratings, "
              << tally.uncertain << " too close to a cut-off to compare, digest " << std::hex << tally.digest
              << std::dec << "\n";
}

// Many stores, few messages each, with the trace compared as well.
class differential_rating : public testing::TestWithParam<int> {};

TEST_P(differential_rating, random_messages_over_random_stores)
{
    constexpr int stores = 100;
    constexpr int messages = 8;
    Tally total;
    for (std::uint64_t round = 0; round < rounds() && !HasFailure(); ++round) {
        const std::uint64_t first = static_cast<std::uint64_t>(GetParam()) * 1000000 + round * 1000;
        Pair pair(first, false, variantOf(first + static_cast<std::uint64_t>(GetParam())), true);
        for (std::uint64_t store = 0; store < stores && !HasFailure(); ++store) {
            pair.refill(first + store, store % 3 == 0);
            for (int i = 0; i < messages && !HasFatalFailure(); ++i) {
                pair.rate();
            }
            pair.expectSameTokens();
        }
        pair.expectSameStores();
        total += pair.tally;
    }
    report(total);
    EXPECT_GT(total.scores, total.ratings / 10);
    EXPECT_LT(total.uncertain * 20, total.ratings);
}

INSTANTIATE_TEST_SUITE_P(seeds, differential_rating, testing::Range(1, 21));

// Everything that the interface offers, in random order.
class differential_sequence : public testing::TestWithParam<int> {};

void anyOperation(Pair &pair)
{
    const int kind = pair.generate.dice.between(1, 100);
    if (kind <= 38) {
        pair.rate();
    } else if (kind <= 48) {
        pair.feedback();
    } else if (kind <= 64) {
        pair.addNumber();
    } else if (kind <= 69) {
        pair.addWhiteNumbers();
    } else if (kind <= 75) {
        pair.removeNumber();
    } else if (kind <= 77) {
        pair.removeAll();
    } else if (kind <= 82) {
        pair.deleteEntries();
    } else if (kind <= 88) {
        pair.readEntries();
    } else if (kind <= 90) {
        pair.readVersion();
    } else if (kind <= 98) {
        pair.update();
    } else {
        pair.restart();
    }
}

TEST_P(differential_sequence, random_operations_leave_engine_and_model_alike)
{
    constexpr int sequences = 8;
    constexpr int operations = 60;
    Tally total;
    for (std::uint64_t round = 0; round < rounds() * sequences && !HasFailure(); ++round) {
        const std::uint64_t seed = static_cast<std::uint64_t>(GetParam()) * 1000000 + 500000 + round;
        Pair pair(seed, seed % 4 == 1, variantOf(seed), seed % 5 == 2);
        for (int i = 0; i < operations && !HasFailure(); ++i) {
            anyOperation(pair);
            pair.expectSameLists();
        }
        pair.expectSameStores();
        total += pair.tally;
    }
    report(total);
}

INSTANTIATE_TEST_SUITE_P(seeds, differential_sequence, testing::Range(1, 21));

} // namespace
} // namespace velq::reference
