// The disguises of the bench: what each makes of a text, and that the preparation undoes those that it can undo.
#include "disguises/disguises.h"
#include "text/prepare.h"

#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

namespace velq::bench {
namespace {

using test::prepare;
using test::utf8;
using test::WideText;

std::u32string codePoints(const WideText &text)
{
    std::u32string out;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char32_t unit = text[at];
        const bool isHigh = unit >= 0xD800 && unit < 0xDC00;
        out += isHigh ? 0x10000 + ((unit - 0xD800) << 10) + (char32_t{text[++at]} - 0xDC00) : unit;
    }
    return out;
}

WideText wide(std::u32string_view text)
{
    WideText out;
    for (const char32_t codePoint : text) {
        out += test::units(codePoint);
    }
    return out;
}

std::string disguised(std::string_view name, std::string_view text, std::uint64_t seed = 1)
{
    for (const Disguise &disguise : disguises) {
        if (disguise.name == name) {
            return utf8(wide(disguise.disguised(codePoints(test::wide(text)), seed)));
        }
    }
    ADD_FAILURE() << "no disguise has the name " << name;
    return {};
}

std::vector<std::u32string> messages()
{
    std::vector<std::u32string> all;
    std::ifstream in(VELQ_DISGUISED_MESSAGES, std::ios::binary);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.front() != '#') {
            all.push_back(codePoints(test::wide(line.substr(line.find('\t') + 1))));
        }
    }
    return all;
}

TEST(Disguises, EachMakesOfATextWhatItsNameSays)
{
    constexpr std::string_view text = "Claim a Free prize, call 07700 now";
    EXPECT_EQ(disguised("capitals", text), "CLAIM A FREE PRIZE, CALL 07700 NOW");
    EXPECT_EQ(disguised("accents", text), "Çĺáïm á Fŕèè pŕïžè, çáĺĺ 07700 ñöŵ");
    EXPECT_EQ(disguised("full-width letters", text), "Ｃｌａｉｍ ａ Ｆｒｅｅ ｐｒｉｚｅ, ｃａｌｌ ０７７００ ｎｏｗ");
    EXPECT_EQ(disguised("mathematical letters", text), "𝙲𝚕𝚊𝚒𝚖 𝚊 𝙵𝚛𝚎𝚎 𝚙𝚛𝚒𝚣𝚎, 𝚌𝚊𝚕𝚕 𝟶𝟽𝟽𝟶𝟶 𝚗𝚘𝚠");
    EXPECT_EQ(disguised("Cyrillic look-alikes", text), "Сlaіm a Frеe рrizе, сall 07700 nоw");
    EXPECT_EQ(disguised("zero-width between letters", text),
              "C\u00ADl\uFEFFa\u00ADi\u00ADm a F\u200Dr\u2060e\uFEFFe p\u200Dr\u200Ci\u00ADz\u200Be, "
              "c\u200Ba\uFEFFl\u200Cl 0\u200B7\u200D7\u20600\u20600 n\u200Do\uFEFFw");
    EXPECT_EQ(disguised("spaces between letters", text),
              "C l a i m   a   F r e e   p r i z e,   c a l l   0 7 7 0 0   n o w");
    EXPECT_EQ(disguised("digits for letters", text), "Cl41m 4 Fr33 pr123, c4ll 07700 n0w");
    EXPECT_EQ(disguised("mixed scripts", text),
              "ⓒⅼⓐⅰⅿ ᴀ ⓕⓡеҽ ргⓘᏃҽ, ⓒᴀⓛʟ 07700 ɴօꮃ");
    EXPECT_EQ(disguised("emoji between words", text), "Claim👉a⭐Free✅prize,🚀call💰07700🚀now");
}

TEST(Disguises, ReachLettersOfOtherLanguages)
{
    EXPECT_EQ(disguised("capitals", "Звоните, đường phố, ılık şey"), "ЗВОНИТЕ, ĐƯỜNG PHỐ, ILIK ŞEY");
    EXPECT_EQ(disguised("accents", "деньги"), "де\u0301ньги\u0301");
    EXPECT_EQ(disguised("Cyrillic look-alikes", "Срочно получите"), "Cрoчно пoлучитe");
}

TEST(Disguises, DependOnTextAndSeed)
{
    EXPECT_EQ(disguised("mixed scripts", "free prize", 2), disguised("mixed scripts", "free prize", 2));
    EXPECT_NE(disguised("mixed scripts", "free prize", 2), disguised("mixed scripts", "free prize", 3));
}

TEST(Disguises, AreUndoneByThePreparationWhereTheySaySo)
{
    const std::vector<std::u32string> all = messages();
    ASSERT_EQ(all.size(), 300U);
    EXPECT_EQ(std::set<std::u32string>(all.begin(), all.end()).size(), all.size());
    std::size_t undone = 0;
    for (const Disguise &disguise : disguises) {
        undone += disguise.isUndone ? 1U : 0U;
        std::size_t changedMessages = 0;
        for (const std::u32string &message : all) {
            const std::u32string changed = disguise.disguised(message, 1);
            changedMessages += changed != message ? 1U : 0U;
            if (disguise.isUndone) {
                EXPECT_EQ(utf8(prepare(wide(changed))), utf8(prepare(wide(message)))) << disguise.name;
            }
        }
        EXPECT_GE(changedMessages, 278U) << disguise.name; // the others are Russian, without such letters
    }
    EXPECT_EQ(undone, 6U);
}

// Letters that are each disguised in any script and form: at most one in twenty stays strange, in words that came out
// all of one other script.
TEST(Disguises, OfMixedScriptsArePreparedButForAFewLetters)
{
    std::size_t letters = 0;
    std::size_t strange = 0;
    for (const std::u32string &message : messages()) {
        const WideText plain = prepare(wide(message));
        for (const Disguise &disguise : disguises) {
            if (disguise.name == "mixed scripts") {
                const WideText prepared = prepare(wide(disguise.disguised(message, 1)));
                ASSERT_EQ(prepared.size(), plain.size()) << utf8(prepared);
                for (std::size_t at = 0; at < plain.size(); ++at) {
                    strange += plain[at] == prepared[at] ? 0U : 1U;
                }
                letters += plain.size();
            }
        }
    }
    EXPECT_LE(strange * 20, letters) << strange << " of " << letters;
}

} // namespace
} // namespace velq::bench
