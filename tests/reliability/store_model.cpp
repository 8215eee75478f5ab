// The effects are written out here from the interface's promises; nothing of the engine computes them.
#include "store_model.h"

#include "VELQ_Update.h"
#include "velq.h"

#include <algorithm>
#include <sstream>
#include <utility>

namespace velq::reliability {

namespace {

using test::Row;
using test::Rows;
using test::Value;

const std::vector<WideText> trainedTokens = {VELQ_TEXT("free"), VELQ_TEXT("cash"), VELQ_TEXT("priz"),
                                             VELQ_TEXT("lunc")};
const WideText body = VELQ_TEXT("free, cash, priz, lunc");
const std::string countsKey = test::utf16Bytes(VELQ_TEXT(".MSG_CNT"));

// The operations of training, as the engine numbers them.
enum TrainingKind { addSpam, addHam, removeSpam, removeHam };

void move(TokenCounts &counts, TrainingKind kind)
{
    std::uint32_t &count = kind == addSpam || kind == removeSpam ? counts.spam : counts.ham;
    if (kind == addSpam || kind == addHam) {
        ++count;
    } else if (count > 0) {
        --count;
    }
}

Transaction training(TrainingKind kind)
{
    Transaction made;
    made.kind = Transaction::Kind::training;
    for (const WideText &token : trainedTokens) {
        made.parts.push_back(
            [key = test::utf16Bytes(token), kind](Stores &stores) { move(stores.tokens.at(key), kind); });
    }
    made.parts.push_back([kind](Stores &stores) { move(stores.tokens[countsKey], kind); });
    return made;
}

Transaction whole(Change change)
{
    return {Transaction::Kind::whole, {std::move(change)}};
}

// Numbers of this file have eleven characters or fewer, so equal is the same as matching.
Transaction removal(NumberList list, const std::string &number)
{
    return whole([list, key = Value::ofText(test::storedNumber(number))](Stores &stores) {
        std::erase_if(list == NumberList::white ? stores.white : stores.black,
                      [&key](const Row &row) { return row[1] == key; });
    });
}

Row entry(int hidden, const std::string &number, const WideText &name, int extendID)
{
    return {Value::ofInteger(hidden), Value::ofText(test::storedNumber(number)),
            Value::ofBlob(test::utf16BytesWithTerminator(name)), Value::ofInteger(extendID)};
}

Transaction insertion(NumberList list, const Rows &rows)
{
    return whole([list, rows](Stores &stores) {
        Rows &target = list == NumberList::white ? stores.white : stores.black;
        target.insert(target.end(), rows.begin(), rows.end());
    });
}

Transaction versionRecord(int command, int version)
{
    return whole([command, version](Stores &stores) { stores.versions[command] = version; });
}

const std::vector<test::TokenRow> deliveredTokens = {
    {VELQ_TEXT("free"), {3, 4, 9}}, {VELQ_TEXT("news"), {5, 6, 7}}, {VELQ_TEXT("prin"), {1, 1, 0}}};
const std::vector<std::string> deliveredNumbers = {"1065711", "1065722", "1065733"};

Transaction probabilityMerge()
{
    Transaction made;
    made.kind = Transaction::Kind::merge;
    for (const test::TokenRow &row : deliveredTokens) {
        made.parts.push_back([row](Stores &stores) {
            const auto [at, isNew] = stores.tokens.try_emplace(test::utf16Bytes(row.key), row.counts);
            if (!isNew) {
                at->second.spam += row.counts.spam;
                at->second.ham += row.counts.ham;
            }
        });
    }
    return made;
}

Transaction whiteNumberMerge()
{
    Transaction made;
    made.kind = Transaction::Kind::merge;
    for (const std::string &number : deliveredNumbers) {
        made.parts.push_back([number](Stores &stores) {
            const Value stored = Value::ofBlob(test::utf16BytesWithTerminator(test::wide(number)));
            const Value name = Value::ofBlob(test::utf16BytesWithTerminator(VELQ_TEXT("bank")));
            stores.white.push_back({Value::ofInteger(1), stored, name, Value::ofNull()});
        });
    }
    return made;
}

// The states that a failure in one transaction may leave, from one state.
std::vector<Stores> statesAfter(const Stores &before, const Transaction &transaction, bool isReading)
{
    std::vector<Stores> states;
    if (transaction.kind == Transaction::Kind::training && isReading) {
        const std::size_t tokens = transaction.parts.size() - 1;
        for (std::size_t chosen = 0; chosen < (std::size_t{1} << tokens); ++chosen) {
            Stores state = before;
            for (std::size_t i = 0; i < tokens; ++i) {
                if ((chosen >> i & 1) != 0) {
                    transaction.parts[i](state);
                }
            }
            states.push_back(state);
            transaction.parts[tokens](state);
            states.push_back(std::move(state));
        }
        return states;
    }
    const bool keepsPrefix =
        transaction.kind == Transaction::Kind::training || (transaction.kind == Transaction::Kind::merge && isReading);
    Stores state = before;
    states.push_back(state);
    for (std::size_t i = 0; i < transaction.parts.size(); ++i) {
        transaction.parts[i](state);
        if (keepsPrefix || i + 1 == transaction.parts.size()) {
            states.push_back(state);
        }
    }
    return states;
}

std::int32_t addBlack()
{
    WideText number = VELQ_TEXT("13812345678");
    WideText name = VELQ_TEXT("moved");
    const NumberRecord record{number.data(), name.data()};
    return VELQ_AddBlackNumberSync(&record, 1, 21);
}

std::int32_t addBatch()
{
    WideText first = VELQ_TEXT("1390001");
    WideText second = VELQ_TEXT("1390002");
    WideText name = VELQ_TEXT("batch");
    NumberListNode last{nullptr, name.data(), second.data(), 32};
    const NumberListNode head{&last, name.data(), first.data(), 31};
    return VELQ_AddWhiteNumberListSync(&head, 0);
}

std::int32_t removeWhite()
{
    WideText number = VELQ_TEXT("95588");
    const NumberRecord record{number.data(), nullptr};
    return VELQ_RemoveWhiteNumberSync(&record);
}

} // namespace

std::string Stores::text() const
{
    std::ostringstream out;
    for (const auto &[key, counts] : tokens) {
        out << "token " << test::hex(key) << ' ' << counts.spam << ' ' << counts.ham << ' ' << counts.reserved << '\n';
    }
    for (const Row &row : white) {
        out << "white " << test::show(row) << '\n';
    }
    for (const Row &row : black) {
        out << "black " << test::show(row) << '\n';
    }
    for (const auto &[command, version] : versions) {
        out << "version " << command << ' ' << version << '\n';
    }
    return out.str();
}

Stores readStores(const Installation &installation)
{
    Stores stores;
    for (const Row &row : installation.open("prob.bin").query("SELECT key, value FROM velqTable;")) {
        stores.tokens[row.at(0).bytes] = test::tokenCountsOf(row.at(1).bytes);
    }
    const auto withoutUid = [](Rows rows) {
        for (Row &row : rows) {
            row.erase(row.begin());
        }
        return rows;
    };
    stores.white = withoutUid(installation.numberRows(NumberList::white));
    stores.black = withoutUid(installation.numberRows(NumberList::black));
    for (const Row &row : installation.open("ver.bin").query("SELECT command, version FROM versionTable;")) {
        stores.versions[static_cast<int>(row.at(0).integer)] = static_cast<int>(row.at(1).integer);
    }
    return stores;
}

void apply(Stores &stores, const Transaction &transaction)
{
    for (const Change &part : transaction.parts) {
        part(stores);
    }
}

void apply(Stores &stores, const Operation &operation)
{
    for (const Transaction &transaction : operation.transactions) {
        apply(stores, transaction);
    }
}

std::set<std::string> statesAfterFailure(const Stores &before, const Operation &operation, bool isReading)
{
    std::map<std::string, Stores> states = {{before.text(), before}};
    for (const Transaction &transaction : operation.transactions) {
        std::map<std::string, Stores> next;
        for (const auto &[text, state] : states) {
            for (Stores &after : statesAfter(state, transaction, isReading)) {
                next.emplace(after.text(), after);
            }
        }
        states = std::move(next);
    }
    std::set<std::string> texts;
    for (const auto &[text, state] : states) {
        texts.insert(text);
    }
    return texts;
}

std::filesystem::path probabilityUpdateOf(const Installation &installation)
{
    return installation.folder() / "tokens.update";
}

std::filesystem::path whiteNumberUpdateOf(const Installation &installation)
{
    return installation.folder() / "numbers.update";
}

void fillInstallation(Installation &installation)
{
    std::vector<test::TokenRow> rows;
    std::uint32_t count = 3;
    for (const WideText &token : trainedTokens) {
        rows.push_back({token, {count, count + 5, count}});
        ++count;
    }
    installation.addTokens(rows);
    installation.setMessageCounts(40, 50, 7);
    installation.addNumber(NumberList::white, "13812345678", 0, VELQ_TEXT("friend"), 1);
    installation.addNumber(NumberList::white, "95588", 0, VELQ_TEXT("bank"), 2);
    installation.addNumber(NumberList::black, "1390003", 0, VELQ_TEXT("spammer"), 3);
    std::vector<test::ProbabilityRow> tokens;
    for (const test::TokenRow &row : deliveredTokens) {
        tokens.push_back(test::probabilityRow(row.key, row.counts));
    }
    test::makeProbabilityUpdate(probabilityUpdateOf(installation), tokens);
    std::vector<test::WhiteNumberRow> numbers;
    for (const std::string &number : deliveredNumbers) {
        numbers.push_back(test::whiteNumberRow(test::wide(number), VELQ_TEXT("bank")));
    }
    test::makeWhiteNumberUpdate(whiteNumberUpdateOf(installation), numbers);
}

std::vector<Operation> writingOperations(const Installation &installation)
{
    const std::set<std::int32_t> usual = {VELQ_SUCCESS, VELQ_ERR_FAILED};
    const WideText tokens = test::widePath(probabilityUpdateOf(installation));
    const WideText numbers = test::widePath(whiteNumberUpdateOf(installation));
    std::vector<Operation> made;
    made.push_back({"add",
                    addBlack,
                    usual,
                    {removal(NumberList::white, "13812345678"),
                     insertion(NumberList::black, {entry(1, "13812345678", VELQ_TEXT("moved"), 21)})}});
    made.push_back({"batch add",
                    addBatch,
                    {VELQ_SUCCESS, VELQ_ERR_DATABASE_FULL, VELQ_ERR_BATCH_FAILED},
                    {insertion(NumberList::white, {entry(0, "1390001", VELQ_TEXT("batch"), 31),
                                                   entry(0, "1390002", VELQ_TEXT("batch"), 32)})}});
    made.push_back({"remove", removeWhite, usual, {removal(NumberList::white, "95588")}});
    made.push_back({"train",
                    [] {
                        std::uint32_t rating = 99;
                        return VELQ_CheckSpamMsgSync(&rating, body.c_str(), VELQ_TEXT("1390003"));
                    },
                    {VELQ_SUCCESS},
                    {training(addSpam)}});
    made.push_back({"correct to spam",
                    [] { return VELQ_SetMsgAsSpam(body.c_str()); },
                    usual,
                    {training(removeHam), training(addSpam)}});
    made.push_back({"correct to ham",
                    [] { return VELQ_SetMsgAsHam(body.c_str(), VELQ_TEXT("1390003")); },
                    usual,
                    {training(removeSpam), training(addHam), removal(NumberList::black, "1390003")}});
    made.push_back({"merge tokens",
                    [tokens] { return VELQ_UpdateData(tokens.c_str(), 8, nullptr, 0); },
                    usual,
                    {probabilityMerge(), versionRecord(VELQ_DATA_PROBABILITY, 8)}});
    made.push_back({"merge white numbers",
                    [numbers] { return VELQ_UpdateData(nullptr, 0, numbers.c_str(), 9); },
                    usual,
                    {whiteNumberMerge(), versionRecord(VELQ_DATA_WHITE_NUMBERS, 9)}});
    made.push_back({"record a version",
                    [] {
                        const VersionRecord record{VELQ_DATA_RULES, 12};
                        return db_UpdateVersion(&record);
                    },
                    usual,
                    {versionRecord(VELQ_DATA_RULES, 12)}});
    return made;
}

} // namespace velq::reliability
