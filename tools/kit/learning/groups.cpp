// The groups, and the candidates of one: its own sequences, of which the other groups leave it some, and the tokens
// learned before, which take up text here too.
#include "kit/learning/groups.h"

#include <algorithm>
#include <string>
#include <utility>

namespace velq::kit {

// ---- Groups by script ---------------------------------------------------------------------------------------------

namespace {

constexpr std::size_t fewestOfGroup = 100; // of each class; a smaller group is learned along with the other

// Ideographs, kana and Hangul make up a tenth of the text: names and addresses in Latin letters are common there.
bool isWide(const std::u16string &text)
{
    constexpr char16_t firstWide = 0x2E80;
    const auto wide = std::count_if(text.begin(), text.end(), [](char16_t unit) { return unit >= firstWide; });
    return static_cast<std::size_t>(wide) * 10 >= text.size() && !text.empty();
}

} // namespace

std::vector<std::vector<FilteredText>> groupsByScript(std::vector<FilteredText> messages)
{
    std::vector<FilteredText> narrow;
    std::vector<FilteredText> wide;
    for (const FilteredText &message : messages) {
        (isWide(message.text) ? wide : narrow).push_back(message);
    }
    const ClassSizes narrowSizes = classSizes(narrow);
    const ClassSizes wideSizes = classSizes(wide);
    if (std::min({narrowSizes.spam, narrowSizes.ham, wideSizes.spam, wideSizes.ham}) < fewestOfGroup) {
        return {std::move(messages)};
    }
    return {std::move(narrow), std::move(wide)};
}

OtherGroups othersOf(const std::vector<std::vector<FilteredText>> &groups, std::size_t own, const Learned &before)
{
    OtherGroups others{before, {}};
    for (std::size_t i = 0; i < groups.size(); ++i) {
        if (i == own) {
            continue;
        }
        for (const FilteredText &message : groups[i]) {
            countCandidates(others.elsewhere, message);
        }
    }
    return others;
}

// ---- The candidates of a group ------------------------------------------------------------------------------------

namespace {

constexpr std::uint32_t fewestMessages = 3;

bool isAscii(PackedToken token)
{
    const std::u16string units = unpackToken(token);
    return std::all_of(units.begin(), units.end(), [](char16_t unit) { return unit < 0x80; });
}

bool hasDigit(PackedToken token)
{
    const std::u16string units = unpackToken(token);
    return std::any_of(units.begin(), units.end(), isDigitUnit);
}

// ASCII sequences stand in the texts of any script: names and addresses, which are the first group's alone, and
// numbers, of which a later group takes those that the other texts hardly know.
bool mayTake(PackedToken token, const OtherGroups &others)
{
    if (others.before.empty() || !isAscii(token)) {
        return true;
    }
    const auto found = others.elsewhere.table.find(token);
    const bool known =
        found != others.elsewhere.table.end() && found->second.spam + found->second.ham >= fewestMessages;
    return hasDigit(token) && !known;
}

// The tokens of the groups before, which hold their places in these texts too.
void addLearned(Candidates &candidates, const Learned &before)
{
    for (const LearnedToken &learned : before) {
        const auto position = static_cast<std::uint32_t>(candidates.tokens.size());
        if (candidates.positions.emplace(learned.token, position).second) {
            candidates.tokens.push_back(learned.token);
            candidates.counts.push_back({});
        }
    }
}

Candidates candidatesOf(const std::vector<FilteredText> &messages, const Learned &before)
{
    CandidateCounter counter;
    for (const FilteredText &message : messages) {
        countCandidates(counter, message);
    }
    Candidates candidates = takeCandidates(counter, fewestMessages);
    addLearned(candidates, before);
    return candidates;
}

} // namespace

Group makeGroup(const std::vector<FilteredText> &messages, const OtherGroups &others)
{
    Group group;
    group.candidates = candidatesOf(messages, others.before);
    const std::size_t size = group.candidates.tokens.size();
    group.fixed.assign(size, 0);
    group.taken.assign(size, 0);
    group.leans.assign(size, 0);
    for (std::size_t i = 0; i < size; ++i) {
        group.taken[i] = mayTake(group.candidates.tokens[i], others) ? 0 : 1;
    }
    for (const LearnedToken &learned : others.before) {
        const std::uint32_t position = group.candidates.positions.at(learned.token);
        group.fixed[position] = group.taken[position] = 1;
        group.leans[position] = learned.lean;
    }
    for (const FilteredText &message : messages) {
        if (message.text.size() > longestUnread) {
            group.texts.push_back(indexText(group.candidates, message));
        }
    }
    group.sizes = classSizes(group.texts);
    return group;
}

// ---- Segmentation by a choice of candidates -----------------------------------------------------------------------

ClassCounts countSegmented(const Group &group, const std::vector<std::uint8_t> &listed)
{
    const std::size_t size = group.candidates.tokens.size();
    ClassCounts counts{std::vector<double>(size, 0), std::vector<double>(size, 0)};
    std::vector<std::uint32_t> tokens;
    for (const IndexedText &text : group.texts) {
        segmentIndexed(text, listed, tokens);
        for (const std::uint32_t token : tokens) {
            ++(text.spam ? counts.spam : counts.ham)[token];
        }
    }
    return counts;
}

Learned collect(const Group &group, const std::vector<std::uint8_t> &listed, const std::vector<double> &leans)
{
    constexpr double unseen = 0.2; // messages added to what was seen and to what was not
    const auto share = [](double count, double all) { return (count + unseen) / (all + 2 * unseen); };
    const ClassCounts counts = countSegmented(group, listed);
    Learned learned;
    for (std::size_t i = 0; i < listed.size(); ++i) {
        if (listed[i] != 0 && group.fixed[i] == 0 && counts.spam[i] + counts.ham[i] > 0) {
            learned.push_back({group.candidates.tokens[i], leans[i], share(counts.spam[i], group.sizes.spam),
                               share(counts.ham[i], group.sizes.ham)});
        }
    }
    return learned;
}

} // namespace velq::kit
