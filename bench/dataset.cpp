// Invented benchmark data from one fixed seed.
#include "dataset.h"

#include <random>
#include <set>

namespace velq::bench {

static constexpr std::uint32_t seed = 20240229;
static constexpr std::size_t vocabularySize = 5000;
static constexpr std::size_t messageLength = 70;

static WideText randomLetters(std::mt19937 &random, std::size_t length)
{
    WideText text;
    for (std::size_t i = 0; i < length; ++i) {
        text.push_back(static_cast<VELQ_WideChar>('a' + random() % 26));
    }
    return text;
}

std::vector<test::TokenRow> vocabulary()
{
    std::mt19937 random(seed);
    std::set<WideText> keys;
    std::vector<test::TokenRow> rows;
    while (rows.size() < vocabularySize) {
        const std::size_t shapes[] = {2, 3, 3, 4, 4, 4};
        const WideText key = randomLetters(random, shapes[random() % 6]);
        if (keys.insert(key).second) {
            const bool isHam = rows.size() % 2 == 0;
            rows.push_back({key, {isHam ? 1U : 40U, isHam ? 40U : 1U, 0}});
        }
    }
    return rows;
}

WideText message(Lean lean)
{
    std::mt19937 random(seed + 1);
    const std::vector<test::TokenRow> rows = vocabulary();
    WideText text;
    while (text.size() < messageLength) {
        const std::size_t index = random() % (vocabularySize / 2) * 2 + (lean == Lean::ham ? 0 : 1);
        text += rows[index].key;
        if (random() % 3 == 0) {
            text += VELQ_TEXT("qz");
        }
    }
    text.resize(messageLength);
    return text;
}

std::string listedNumber(std::size_t index)
{
    const std::string digits = std::to_string(index);
    return "139" + std::string(8 - digits.size(), '0') + digits;
}

void fillTokenStore(Installation &installation)
{
    installation.addTokens(vocabulary());
    installation.setMessageCounts(1000, 1000);
}

void fillList(Installation &installation, test::NumberList list, std::size_t count)
{
    test::Rows rows;
    for (std::size_t i = 0; i < count; ++i) {
        rows.push_back({test::Value::ofInteger(0), test::Value::ofText(test::storedNumber(listedNumber(i))),
                        test::Value::ofBlob(test::utf16BytesWithTerminator(VELQ_TEXT("Name"))),
                        test::Value::ofInteger(0)});
    }
    installation.open(test::fileOf(list))
        .execForEach("INSERT INTO " + test::tableOf(list) + "(hidden,number,name,extendID) VALUES(?,?,?,?)", rows);
}

std::filesystem::path makeLargeProbabilityUpdate(const Installation &installation, std::size_t count)
{
    std::mt19937 random(seed + 2);
    std::set<WideText> keys;
    std::vector<test::ProbabilityRow> rows;
    for (const test::TokenRow &known : vocabulary()) {
        keys.insert(known.key);
        rows.push_back(test::probabilityRow(known.key, {1, 2, 0}));
    }
    while (rows.size() < count) {
        WideText key;
        for (int i = 0; i < 4; ++i) {
            key.push_back(static_cast<VELQ_WideChar>(0x4E00 + random() % 2000));
        }
        if (keys.insert(key).second) {
            rows.push_back(test::probabilityRow(key, {3, 4, 0}));
        }
    }
    const std::filesystem::path path = installation.folder() / "prob-update.bin";
    test::makeProbabilityUpdate(path, rows);
    return path;
}

std::filesystem::path makeLargeWhiteNumberUpdate(const Installation &installation, std::size_t count)
{
    std::vector<test::WhiteNumberRow> rows;
    for (std::size_t i = 0; i < count; ++i) {
        rows.push_back(test::whiteNumberRow(test::wide(listedNumber(i)), VELQ_TEXT("Delivered")));
    }
    const std::filesystem::path path = installation.folder() / "wn-update.bin";
    test::makeWhiteNumberUpdate(path, rows);
    return path;
}

} // namespace velq::bench
