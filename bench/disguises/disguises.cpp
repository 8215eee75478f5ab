// The disguises. Letters without the form that is asked for stay.
#include "disguises.h"

#include <cstddef>
#include <random>

namespace velq::bench {

namespace {

std::uint64_t hashOf(std::u32string_view text)
{
    std::uint64_t hash = 0xCBF29CE484222325U; // FNV-1a
    for (const char32_t c : text) {
        hash = (hash ^ c) * 0x100000001B3U;
    }
    return hash;
}

// The same on every machine: the generator's numbers are fixed by the standard, those of its distributions are not.
class Draw {
  public:
    Draw(std::u32string_view text, std::uint64_t seed) : generator_(hashOf(text) + seed) {}
    std::size_t below(std::size_t bound)
    {
        return static_cast<std::size_t>(generator_() % bound);
    }
    char32_t of(std::u32string_view values)
    {
        return values[below(values.size())];
    }

  private:
    std::mt19937_64 generator_;
};

bool isSmall(char32_t c)
{
    return c >= U'a' && c <= U'z';
}

bool isCapital(char32_t c)
{
    return c >= U'A' && c <= U'Z';
}

bool isDigit(char32_t c)
{
    return c >= U'0' && c <= U'9';
}

bool isCyrillic(char32_t c)
{
    return c >= 0x400 && c <= 0x45F;
}

bool isLetter(char32_t c)
{
    const bool isAccented = c >= 0xC0 && c <= 0x24F && c != 0xD7 && c != 0xF7;
    return isSmall(c) || isCapital(c) || isAccented || isCyrillic(c) || (c >= 0x1E00 && c <= 0x1EFF);
}

// The value that stands at the letter's place; 0 where it has none.
char32_t counterpart(std::u32string_view letters, std::u32string_view values, char32_t c)
{
    const std::size_t at = letters.find(c);
    return at == std::u32string_view::npos ? 0 : values[at];
}

char32_t capital(char32_t c)
{
    if (isSmall(c) || (c >= 0xE0 && c <= 0xFE && c != 0xF7) || (c >= 0x430 && c <= 0x44F)) {
        return c - 0x20;
    }
    if (c >= 0x450 && c <= 0x45F) {
        return c - 0x50;
    }
    const bool followsItsCapital = (c >= 0x100 && c <= 0x137 && c != 0x131) || (c >= 0x14A && c <= 0x177) ||
                                   (c >= 0x1A0 && c <= 0x1A5) || (c >= 0x1EA0 && c <= 0x1EF9);
    if (followsItsCapital && c % 2 == 1) {
        return c - 1;
    }
    return c == 0x131 ? U'I' : c == 0x1B0 ? char32_t{0x1AF} : c;
}

std::u32string inCapitals(std::u32string_view text, std::uint64_t)
{
    std::u32string out(text);
    for (char32_t &c : out) {
        c = capital(c);
    }
    return out;
}

std::u32string withAccents(std::u32string_view text, std::uint64_t)
{
    constexpr std::u32string_view letters = U"acdeghijklnorstuwyzACDEGHIJKLNORSTUWYZ";
    constexpr std::u32string_view accented = U"áçďèğĥïĵķĺñöŕšţüŵýžÁÇĎÈĞĤÏĴĶĹÑÖŔŠŢÜŴÝŽ";
    static_assert(letters.size() == accented.size());
    constexpr std::u32string_view cyrillicVowels = U"аеиоуыэюяАЕИОУЫЭЮЯ";
    constexpr char32_t acute = 0x301;
    std::u32string out;
    for (const char32_t c : text) {
        const char32_t with = counterpart(letters, accented, c);
        out += with != 0 ? with : c;
        if (cyrillicVowels.find(c) != std::u32string_view::npos) {
            out += acute;
        }
    }
    return out;
}

char32_t fullWidth(char32_t c)
{
    return isSmall(c) || isCapital(c) || isDigit(c) ? c + 0xFEE0 : c;
}

std::u32string inFullWidth(std::u32string_view text, std::uint64_t)
{
    std::u32string out(text);
    for (char32_t &c : out) {
        c = fullWidth(c);
    }
    return out;
}

// Where an alphabet's A and 0 stand; its small letters follow the capitals.
struct Alphabet {
    char32_t letters;
    char32_t digits;
};

constexpr std::array<Alphabet, 4> alphabets = {
    {{0x1D400, 0x1D7CE}, {0x1D5D4, 0x1D7EC}, {0x1D63C, 0x1D7EC}, {0x1D670, 0x1D7F6}}};

char32_t mathematical(const Alphabet &alphabet, char32_t c)
{
    return isCapital(c) ? alphabet.letters + (c - U'A')
           : isSmall(c) ? alphabet.letters + 26 + (c - U'a')
           : isDigit(c) ? alphabet.digits + (c - U'0')
                        : c;
}

std::u32string inMathematicalLetters(std::u32string_view text, std::uint64_t seed)
{
    const Alphabet &alphabet = alphabets[Draw(text, seed).below(alphabets.size())];
    std::u32string out(text);
    for (char32_t &c : out) {
        c = mathematical(alphabet, c);
    }
    return out;
}

constexpr std::u32string_view latinTwins = U"aceijopsxyABCEHIJKMOPSTX";
constexpr std::u32string_view cyrillicTwins = U"асеіјорѕхуАВСЕНІЈКМОРЅТХ";
static_assert(latinTwins.size() == cyrillicTwins.size());

// Takes every other letter of the word that has a look-alike, as long as fewer than half of its letters are strange.
void putLookAlikes(std::u32string &text, std::size_t begin, std::size_t end)
{
    std::size_t replaceable = 0;
    std::size_t strange = 0;
    for (std::size_t at = begin; at < end; ++at) {
        const char32_t twin = isCyrillic(text[at]) ? counterpart(cyrillicTwins, latinTwins, text[at])
                                                   : counterpart(latinTwins, cyrillicTwins, text[at]);
        if (twin != 0 && replaceable++ % 2 == 0 && (strange + 1) * 2 < end - begin) {
            text[at] = twin;
            ++strange;
        }
    }
}

std::u32string withLookAlikes(std::u32string_view text, std::uint64_t)
{
    std::u32string out(text);
    for (std::size_t begin = 0; begin < out.size(); ++begin) {
        std::size_t end = begin;
        while (end < out.size() && isLetter(out[end])) {
            ++end;
        }
        putLookAlikes(out, begin, end);
        begin = end;
    }
    return out;
}

bool isInsideWord(std::u32string_view text, std::size_t at)
{
    const auto isPart = [](char32_t c) { return isLetter(c) || isDigit(c); };
    return at + 1 < text.size() && isPart(text[at]) && isPart(text[at + 1]);
}

std::u32string withZeroWidth(std::u32string_view text, std::uint64_t seed)
{
    constexpr std::u32string_view invisible = U"\u200B\u200C\u200D\u2060\uFEFF\u00AD";
    Draw draw(text, seed);
    std::u32string out;
    for (std::size_t at = 0; at < text.size(); ++at) {
        out += text[at];
        if (isInsideWord(text, at)) {
            out += draw.of(invisible);
        }
    }
    return out;
}

std::u32string withSpaces(std::u32string_view text, std::uint64_t)
{
    std::u32string out;
    for (std::size_t at = 0; at < text.size(); ++at) {
        out.append(text[at] == U' ' ? 3 : 1, text[at]);
        out.append(isInsideWord(text, at) ? 1 : 0, U' ');
    }
    return out;
}

std::u32string withDigits(std::u32string_view text, std::uint64_t)
{
    std::u32string out(text);
    for (char32_t &c : out) {
        const char32_t digit = counterpart(U"aegiostzAEGIOSTZ", U"4391057243910572", c);
        c = digit != 0 ? digit : c;
    }
    return out;
}

// Capitals and small letters alike.
struct LookAlikes {
    char32_t letter;
    std::u32string_view forms;
};

constexpr LookAlikes anyScript[] = {
    {U'a', U"аαɑᴀ⒜ⓐ"}, {U'b', U"Ьᏼ⒝ⓑʙ"}, {U'c', U"сϲᴄⅽⓒ"},       {U'd', U"ԁᴅⅾⓓ"},        {U'e', U"еҽᴇℯⓔ"},
    {U'f', U"ϝⓕ⒡"},    {U'g', U"ɡցⓖ⒢"},          {U'h', U"һհⓗⲏ"},        {U'i', U"іιⅰɪⓘ"},       {U'j', U"јϳⓙᴊ"},
    {U'k', U"κкᴋⓚ"},   {U'l', U"ⅼⓛʟℓ"},          {U'm', U"мᴍⅿⓜ"},        {U'n', U"ոηɴⓝ"},        {U'o', U"оοօᴏⓞ"},
    {U'p', U"рρᴘⓟ"},   {U'q', U"ԛգⓠ"},           {U'r', U"гʀⓡ"},         {U's', U"ѕꜱⓢꮪ"}, {U't', U"тτᴛⓣ"},
    {U'u', U"υսᴜⓤ"},   {U'v', U"ѵνᴠⅴⓥ"},         {U'w', U"ԝᴡⓦꮃ"}, {U'x', U"хⅹⓧ"},         {U'y', U"уγʏⓨ"},
    {U'z', U"ᴢⓩʐᏃ"}};
// The same for Cyrillic words.
constexpr LookAlikes latinForms[] = {{U'а', U"aαá"}, {U'с', U"cϲç"}, {U'е', U"eéè"}, {U'о', U"oοó"},
                                     {U'р', U"pρ"},  {U'х', U"xχ"},  {U'у', U"yγý"}, {U'к', U"kκ"},
                                     {U'м', U"m"},   {U'т', U"tτ"},  {U'в', U"ʙ"},   {U'н', U"ʜ"}};

std::u32string inMixedScripts(std::u32string_view text, std::uint64_t seed)
{
    Draw draw(text, seed);
    std::u32string out;
    for (const char32_t c : text) {
        const char32_t small = isCapital(c) ? c + 0x20 : c >= 0x410 && c <= 0x42F ? c + 0x20 : c;
        std::u32string_view forms;
        for (const LookAlikes &one : anyScript) {
            forms = one.letter == small ? one.forms : forms;
        }
        for (const LookAlikes &one : latinForms) {
            forms = one.letter == small ? one.forms : forms;
        }
        out += forms.empty() ? c : draw.of(forms);
    }
    return out;
}

std::u32string withEmoji(std::u32string_view text, std::uint64_t seed)
{
    constexpr std::u32string_view emoji = U"🎁🔥💰🎉⭐✅💎🚀❗👉";
    Draw draw(text, seed);
    std::u32string out;
    for (const char32_t c : text) {
        out += c == U' ' ? draw.of(emoji) : c;
    }
    return out;
}

} // namespace

const std::array<Disguise, 10> disguises = {{{"capitals", true, true, inCapitals},
                                             {"accents", true, true, withAccents},
                                             {"full-width letters", true, true, inFullWidth},
                                             {"mathematical letters", true, true, inMathematicalLetters},
                                             {"Cyrillic look-alikes", true, true, withLookAlikes},
                                             {"zero-width between letters", true, true, withZeroWidth},
                                             {"spaces between letters", false, false, withSpaces},
                                             {"digits for letters", false, false, withDigits},
                                             {"mixed scripts", false, true, inMixedScripts},
                                             {"emoji between words", false, true, withEmoji}}};

} // namespace velq::bench
