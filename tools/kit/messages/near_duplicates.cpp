// Runs of eight characters by their hash values, an inverted index over them, and a union of what shares enough.
#include "kit/messages/near_duplicates.h"

#include "kit/base/unit_ranges.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <string>
#include <vector>

namespace velq::kit {

namespace {

constexpr std::size_t runLength = 8;
constexpr std::size_t mostHolders = 50; // texts that are remembered for one run

// Units beyond ASCII that are neither letter nor digit: punctuation, symbols, spaces, halves of emoji.
constexpr UnitRange notInWords[] = {{0x80, 0xA9},     {0xAB, 0xB4},     {0xB6, 0xB9},     {0xBB, 0xBF},
                                    {0xD7, 0xD7},     {0xF7, 0xF7},     {0x2000, 0x206F}, {0x20A0, 0x20CF},
                                    {0x2190, 0x2BFF}, {0x3000, 0x3004}, {0x3008, 0x3020}, {0x3030, 0x3030},
                                    {0xD800, 0xDFFF}, {0xFE00, 0xFE0F}, {0xFE30, 0xFE4F}, {0xFF01, 0xFF0F},
                                    {0xFF1A, 0xFF20}, {0xFF3B, 0xFF40}, {0xFF5B, 0xFF65}, {0xFFE0, 0xFFFF}};

bool isDigit(char16_t unit)
{
    return (unit >= u'0' && unit <= u'9') || (unit >= 0xFF10 && unit <= 0xFF19);
}

bool isInWord(char16_t unit)
{
    if (unit < 0x80) {
        return isDigit(unit) || (unit >= u'a' && unit <= u'z');
    }
    return !isInRanges(unit, notInWords);
}

// Letters and digits only, digits alike.
std::u16string plainText(std::u16string_view text)
{
    std::u16string plain;
    for (char16_t unit : text) {
        if (unit >= u'A' && unit <= u'Z') {
            unit = static_cast<char16_t>(unit - u'A' + u'a');
        }
        if (isInWord(unit)) {
            plain += isDigit(unit) ? u'0' : unit;
        }
    }
    return plain;
}

// The different runs of a text, by their hash values; a text shorter than a run is one run.
std::vector<std::uint64_t> runsOf(std::u16string_view text)
{
    const std::u16string plain = plainText(text);
    const std::size_t count = plain.size() > runLength ? plain.size() - runLength + 1 : 1;
    std::vector<std::uint64_t> runs;
    runs.reserve(count);
    for (std::size_t begin = 0; begin < count; ++begin) {
        std::uint64_t hash = 0xCBF29CE484222325U; // FNV-1a over the units
        for (const char16_t unit : std::u16string_view(plain).substr(begin, runLength)) {
            hash = (hash ^ unit) * 0x100000001B3U;
        }
        runs.push_back(hash);
    }
    std::sort(runs.begin(), runs.end());
    runs.erase(std::unique(runs.begin(), runs.end()), runs.end());
    return runs;
}

class DisjointSets {
  public:
    explicit DisjointSets(std::size_t members) : parent_(members)
    {
        std::iota(parent_.begin(), parent_.end(), std::uint32_t{0});
    }

    std::uint32_t root(std::uint32_t member)
    {
        while (parent_[member] != member) {
            parent_[member] = parent_[parent_[member]];
            member = parent_[member];
        }
        return member;
    }
    void unite(std::uint32_t first, std::uint32_t second)
    {
        const auto [low, high] = std::minmax({root(first), root(second)});
        parent_[high] = low;
    }

  private:
    std::vector<std::uint32_t> parent_;
};

// Runs that more than one text holds, each with its first few texts. Most runs stand in one text alone, and a flat list
// of the rest is a fraction of a table of all.
class SharedRuns {
  public:
    explicit SharedRuns(const std::vector<std::u16string_view> &texts)
    {
        std::vector<Holder> all;
        for (std::uint32_t text = 0; text < texts.size(); ++text) {
            for (const std::uint64_t run : runsOf(texts[text])) {
                all.push_back({run, text});
            }
        }
        std::sort(all.begin(), all.end(),
                  [](const Holder &a, const Holder &b) { return a.run != b.run ? a.run < b.run : a.text < b.text; });
        auto kept = all.begin();
        for (auto begin = all.begin(); begin != all.end();) {
            const auto end = std::find_if(begin, all.end(), [&](const Holder &one) { return one.run != begin->run; });
            const auto size = static_cast<std::size_t>(end - begin);
            if (size > 1) {
                const auto first = begin;
                kept = std::copy_n(first, std::min(size, mostHolders), kept);
            }
            begin = end;
        }
        all.erase(kept, all.end());
        holders_.assign(all.begin(), all.end());
    }

    // Calls `take` with each text before `text` that is known to hold the run.
    template <typename Take>
    void forEachHolder(std::uint64_t run, std::uint32_t text, const Take &take) const
    {
        auto holder = std::lower_bound(holders_.begin(), holders_.end(), run,
                                       [](const Holder &one, std::uint64_t value) { return one.run < value; });
        for (; holder != holders_.end() && holder->run == run && holder->text < text; ++holder) {
            take(holder->text);
        }
    }

  private:
    struct Holder {
        std::uint64_t run;
        std::uint32_t text;
    };

    std::vector<Holder> holders_; // by run, then by text
};

} // namespace

std::vector<std::uint32_t> clusterNearDuplicates(const std::vector<std::u16string_view> &texts)
{
    DisjointSets sets(texts.size());
    const SharedRuns sharedRuns(texts);
    std::vector<std::size_t> runCounts;
    std::vector<std::size_t> shared(texts.size()); // with the text at hand; zero between texts
    std::vector<std::uint32_t> met;
    for (std::uint32_t text = 0; text < texts.size(); ++text) {
        const std::vector<std::uint64_t> runs = runsOf(texts[text]);
        met.clear();
        for (const std::uint64_t run : runs) {
            sharedRuns.forEachHolder(run, text, [&](std::uint32_t other) {
                if (shared[other]++ == 0) {
                    met.push_back(other);
                }
            });
        }
        for (const std::uint32_t other : met) {
            if (2 * shared[other] >= std::min(runs.size(), runCounts[other])) {
                sets.unite(text, other);
            }
            shared[other] = 0;
        }
        runCounts.push_back(runs.size());
    }

    // A cluster's root is its first text, so that the numbers come in ascending order.
    std::vector<std::uint32_t> clusters(texts.size());
    std::uint32_t count = 0;
    for (std::uint32_t text = 0; text < texts.size(); ++text) {
        const std::uint32_t root = sets.root(text);
        clusters[text] = root == text ? count++ : clusters[root];
    }
    return clusters;
}

} // namespace velq::kit
