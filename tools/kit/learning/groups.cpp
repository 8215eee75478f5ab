// The groups, and the candidates of one: its own sequences, of which the other groups leave it some, and the tokens
// learned before, which take up text here too.
#include "kit/learning/groups.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

namespace velq::kit {

// ---- Groups by script ---------------------------------------------------------------------------------------------

namespace {

constexpr std::size_t fewestOfGroup = 100; // of each class; a smaller group is learned along with the other

// The script that makes up a tenth of the text: names and addresses in Latin letters are common in all.
Script scriptOf(const std::u16string &text)
{
    constexpr char16_t firstWide = 0x2E80;
    const auto share = [&text](auto isOf) {
        return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), isOf)) * 10;
    };
    if (text.empty()) {
        return Script::narrow;
    }
    if (share([](char16_t unit) { return unit >= firstWide; }) >= text.size()) {
        return Script::wide;
    }
    if (share([](char16_t unit) { return unit >= 0x0E00 && unit <= 0x0E7F; }) >= text.size()) {
        return Script::thai;
    }
    return share([](char16_t unit) { return unit >= 0x0400 && unit <= 0x052F; }) >= text.size() ? Script::cyrillic
                                                                                                : Script::narrow;
}

std::vector<ScriptGroup> emptyGroups()
{
    return {{Script::narrow, {}}, {Script::wide, {}}, {Script::thai, {}}, {Script::cyrillic, {}}};
}

std::size_t fewerOfClass(const std::vector<LabelledText> &messages)
{
    const auto spam =
        std::count_if(messages.begin(), messages.end(), [](const LabelledText &message) { return message.spam; });
    return std::min(static_cast<std::size_t>(spam), messages.size() - static_cast<std::size_t>(spam));
}

} // namespace

std::vector<ScriptGroup> groupsByScript(std::vector<LabelledText> messages)
{
    std::vector<ScriptGroup> groups = emptyGroups();
    std::vector<std::pair<std::size_t, std::size_t>> places; // of each message: its group, its number there
    for (LabelledText &message : messages) {
        const Script script = scriptOf(filterText(message.text));
        const auto group =
            static_cast<std::size_t>(std::find_if(groups.begin(), groups.end(),
                                                  [script](const ScriptGroup &one) { return one.script == script; }) -
                                     groups.begin());
        places.emplace_back(group, groups[group].messages.size());
        groups[group].messages.push_back(std::move(message));
    }
    std::vector<bool> isLarge(groups.size());
    std::transform(groups.begin(), groups.end(), isLarge.begin(),
                   [](const ScriptGroup &group) { return fewerOfClass(group.messages) >= fewestOfGroup; });
    // What is too few goes to the first large group; without any, all messages are one group.
    const auto large = static_cast<std::size_t>(std::find(isLarge.begin(), isLarge.end(), true) - isLarge.begin());
    const std::size_t home = large == groups.size() ? 0 : large;
    std::vector<ScriptGroup> joined = emptyGroups();
    for (const auto &[group, number] : places) {
        joined[isLarge[group] ? group : home].messages.push_back(std::move(groups[group].messages[number]));
    }
    std::erase_if(joined, [](const ScriptGroup &group) { return group.messages.empty(); });
    return joined;
}

// ---- The candidates of a group ------------------------------------------------------------------------------------

namespace {

bool isAscii(PackedToken token)
{
    const std::u16string units = unpackToken(token);
    return std::all_of(units.begin(), units.end(), [](char16_t unit) { return unit < 0x80; });
}

bool mayTake(PackedToken token, const GroupRule &rule)
{
    if (!rule.takesAscii && isAscii(token)) {
        return false;
    }
    if (rule.others == nullptr) {
        return true;
    }
    const auto found = rule.others->table.find(token);
    return found == rule.others->table.end() || found->second.clusters <= rule.mostOfOthers;
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

Candidates candidatesOf(const std::vector<FilteredText> &messages, const GroupRule &rule)
{
    CandidateCounter counter;
    countCandidates(counter, messages);
    Candidates candidates = takeCandidates(counter, rule.fewestClusters);
    addLearned(candidates, rule.before);
    return candidates;
}

} // namespace

Group makeGroup(const std::vector<FilteredText> &messages, const GroupRule &rule)
{
    Group group;
    group.candidates = candidatesOf(messages, rule);
    const std::size_t size = group.candidates.tokens.size();
    group.fixed.assign(size, 0);
    group.taken.assign(size, 0);
    group.leans.assign(size, 0);
    for (std::size_t i = 0; i < size; ++i) {
        group.taken[i] = mayTake(group.candidates.tokens[i], rule) ? 0 : 1;
    }
    for (const LearnedToken &learned : rule.before) {
        const std::uint32_t position = group.candidates.positions.at(learned.token);
        group.fixed[position] = group.taken[position] = 1;
        group.leans[position] = learned.lean;
    }
    for (std::uint32_t message = 0; message < messages.size(); ++message) {
        if (messages[message].text.size() > longestUnread) {
            group.texts.push_back(indexText(group.candidates, messages[message]));
            group.texts.back().message = message;
        }
    }
    group.sizes = classSizes(group.texts);
    return group;
}

// ---- Segmentation by a choice of candidates -----------------------------------------------------------------------

ClassCounts countHolding(const Group &group)
{
    const std::size_t size = group.candidates.tokens.size();
    ClassCounts counts{std::vector<double>(size, 0), std::vector<double>(size, 0)};
    for (const IndexedText &text : group.texts) {
        for (const std::uint32_t candidate : candidatesIn(text)) {
            (text.spam ? counts.spam : counts.ham)[candidate] += text.weight;
        }
    }
    return counts;
}

ClassCounts countSegmented(const Group &group, const std::vector<std::uint8_t> &listed)
{
    const std::size_t size = group.candidates.tokens.size();
    ClassCounts counts{std::vector<double>(size, 0), std::vector<double>(size, 0)};
    std::vector<std::uint32_t> tokens;
    for (const IndexedText &text : group.texts) {
        segmentIndexed(text, listed, tokens);
        for (const std::uint32_t token : tokens) {
            (text.spam ? counts.spam : counts.ham)[token] += text.weight;
        }
    }
    return counts;
}

SegmentedText segmentOne(const IndexedText &text, const std::vector<std::uint8_t> &listed)
{
    SegmentedText segmented{text.spam, text.digitRun, text.brief, {}, text.weight};
    segmentIndexed(text, listed, segmented.tokens);
    return segmented;
}

std::vector<SegmentedText> segmentAll(const std::vector<IndexedText> &texts, const std::vector<std::uint8_t> &listed)
{
    std::vector<SegmentedText> segmented;
    segmented.reserve(texts.size());
    for (const IndexedText &text : texts) {
        segmented.push_back(segmentOne(text, listed));
    }
    return segmented;
}

Learned collect(const Group &group, const Choice &choice)
{
    constexpr double unseen = 0.2; // messages added to what was seen and to what was not
    const auto share = [](double count, double all) { return (count + unseen) / (all + 2 * unseen); };
    const ClassCounts counts = countSegmented(group, choice.listed);
    Learned learned;
    for (std::size_t i = 0; i < choice.listed.size(); ++i) {
        if (choice.listed[i] != 0 && group.fixed[i] == 0 && counts.spam[i] + counts.ham[i] > 0) {
            learned.push_back({group.candidates.tokens[i], choice.leans[i], share(counts.spam[i], group.sizes.spam),
                               share(counts.ham[i], group.sizes.ham)});
        }
    }
    return learned;
}

} // namespace velq::kit
