// Writes the tables that the library reads, as C++: make_text_tables FILE. Runs on the building machine.
#include "foldings.h"
#include "look_alikes.h"
#include "scripts.h"
#include "text_tables.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

using namespace velq::text;

namespace {

void require(bool holds, const char *what)
{
    if (!holds) {
        std::fprintf(stderr, "make_text_tables: %s\n", what);
        std::exit(EXIT_FAILURE);
    }
}

std::u16string units(const std::u32string &text)
{
    std::u16string out;
    for (const char32_t codePoint : text) {
        if (codePoint < 0x10000) {
            out += static_cast<char16_t>(codePoint);
        } else {
            out += static_cast<char16_t>(0xD7C0 + (codePoint >> 10));
            out += static_cast<char16_t>(0xDC00 + (codePoint & 0x3FF));
        }
    }
    return out;
}

// A list in which equal entries stand once, in the order of their first use.
template <typename Key>
class Numbered {
  public:
    std::size_t indexOf(const Key &key)
    {
        const auto [at, isNew] = indexes_.try_emplace(key, entries_.size());
        if (isNew) {
            entries_.push_back(key);
        }
        return at->second;
    }
    const std::vector<Key> &entries() const
    {
        return entries_;
    }

  private:
    std::map<Key, std::size_t> indexes_;
    std::vector<Key> entries_;
};

using LetterKey = std::array<unsigned, 1 + other>;           // script, look-alikes
using FoldingKey = std::tuple<unsigned, unsigned, unsigned>; // as the fields of Folding
using Block = std::array<std::size_t, blockSize>;

struct Tables {
    Numbered<LetterKey> letters;
    Numbered<FoldingKey> foldings;
    Numbered<Block> blocks;
    std::vector<std::size_t> blockOf;
    std::u16string pool;
};

unsigned letterIndex(Tables &tables, const FoldedCharacter &folded)
{
    const char32_t codePoint = folded.text[0];
    if (codePoint >= U'0' && codePoint <= U'9') {
        return insideWord;
    }
    if (!scriptOf(codePoint)) {
        return endsWord;
    }
    require(codePoint < 0x10000, "a letter of a word does not fit one unit");
    const Letter letter = letterOf(codePoint, folded.forms);
    LetterKey key{letter.script};
    std::copy(std::begin(letter.lookAlikes), std::end(letter.lookAlikes), key.begin() + 1);
    return static_cast<unsigned>(firstLetter + tables.letters.indexOf(key));
}

unsigned pooled(Tables &tables, const std::u16string &text)
{
    std::size_t at = tables.pool.find(text);
    if (at == std::u16string::npos) {
        at = tables.pool.size();
        tables.pool += text;
    }
    return static_cast<unsigned>(at);
}

FoldingKey foldingKey(Tables &tables, char32_t codePoint)
{
    if (codePoint == 0 || (codePoint >= 0xD800 && codePoint < 0xE000)) {
        return {0, unchanged, endsWord};
    }
    const FoldedCharacter folded = foldingOf(codePoint);
    for (const char32_t part : folded.text) {
        require(foldingOf(part).text == std::u32string(1, part), "a folding does not stay");
    }
    const std::u16string text = units(folded.text);
    if (folded.text == std::u32string(1, codePoint)) {
        return {0, unchanged, letterIndex(tables, folded)};
    }
    if (text.size() == 1) {
        return {text[0], 1, letterIndex(tables, folded)};
    }
    require(text.size() < unchanged, "a folding is too long");
    return {text.empty() ? 0 : pooled(tables, text), static_cast<unsigned>(text.size()), endsWord};
}

Tables makeTables()
{
    Tables tables;
    tables.foldings.indexOf({0, unchanged, endsWord});
    for (char32_t first = 0; first < codePoints; first += blockSize) {
        Block block{};
        for (unsigned i = 0; i < blockSize; ++i) {
            block[i] = tables.foldings.indexOf(foldingKey(tables, first + i));
        }
        tables.blockOf.push_back(tables.blocks.indexOf(block));
    }
    require(tables.blocks.entries().size() <= 0x100, "more blocks than a byte counts");
    require(tables.foldings.entries().size() <= 0x10000 && tables.pool.size() <= 0x10000, "the tables are too large");
    require(firstLetter + tables.letters.entries().size() <= 0x100, "more letters than a byte counts");
    return tables;
}

class Output {
  public:
    explicit Output(const char *path) : file_(std::fopen(path, "w"))
    {
        require(file_ != nullptr, "the file cannot be written");
    }
    void text(const std::string &text)
    {
        std::fputs(text.c_str(), file_);
    }
    // entries: numbers or braced records, by lines.
    void array(const std::string &declaration, const std::vector<std::string> &entries)
    {
        text("\ninline constexpr " + declaration + "[] = {");
        constexpr std::size_t perLine = 16;
        for (std::size_t i = 0; i < entries.size(); ++i) {
            text((i % perLine == 0 ? "\n    " : " ") + entries[i] + ",");
        }
        text("\n};\n");
    }
    void close()
    {
        require(std::fclose(file_) == 0, "the file cannot be written");
    }

  private:
    std::FILE *file_;
};

template <typename Numbers>
std::vector<std::string> decimals(const Numbers &numbers)
{
    std::vector<std::string> out(numbers.size());
    std::transform(numbers.begin(), numbers.end(), out.begin(),
                   [](auto number) { return std::to_string(static_cast<unsigned>(number)); });
    return out;
}

void write(const Tables &tables, const char *path)
{
    Output out(path);
    out.text("// Written by make_text_tables.\n#ifndef VELQ_WRITTEN_TABLES_H\n#define "
             "VELQ_WRITTEN_TABLES_H\n\n#include \"text_tables.h\"\n\nnamespace velq::text {\n");
    std::vector<std::string> letters(firstLetter, "{other, {0, 0, 0}}");
    for (const auto &[script, latin, cyrillic, greek] : tables.letters.entries()) {
        letters.push_back("{" + std::to_string(script) + ", {" + std::to_string(latin) + ", " +
                          std::to_string(cyrillic) + ", " + std::to_string(greek) + "}}");
    }
    out.array("Letter letters", letters);
    std::vector<std::string> foldings;
    for (const auto &[text, length, letter] : tables.foldings.entries()) {
        foldings.push_back("{" + std::to_string(text) + ", " + std::to_string(length) + ", " + std::to_string(letter) +
                           "}");
    }
    out.array("Folding foldings", foldings);
    out.array("std::uint16_t pool", decimals(tables.pool));
    std::vector<std::size_t> blocks;
    blocks.reserve(tables.blocks.entries().size() * blockSize);
    for (const Block &block : tables.blocks.entries()) {
        blocks.insert(blocks.end(), block.begin(), block.end());
    }
    out.array("std::uint16_t foldingIndexes", decimals(blocks));
    out.array("std::uint8_t blockOf", decimals(tables.blockOf));
    out.text("\n} // namespace velq::text\n\n#endif\n");
    out.close();
}

} // namespace

int main(int argumentCount, char **arguments)
{
    require(argumentCount == 2, "usage: make_text_tables FILE");
    checkLookAlikes();
    write(makeTables(), arguments[1]);
    return EXIT_SUCCESS;
}
