// Cosines between profiles of messages that hold each sequence of three letters.
#include "kit/learning/languages.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <utility>

namespace velq::kit {

namespace {

constexpr double resembling = 0.66; // sources of one language reach 0.7, Indonesian and Filipino 0.6
constexpr std::size_t mostMessages = 1000;
constexpr std::size_t sequenceLength = 3;

struct Profile {
    std::map<PackedToken, double> messages; // that hold each sequence
    double norm = 0;
    std::size_t read = 0;
    bool has[2] = {false, false}; // ham and spam
    std::uint32_t language = 0;
};

void addMessage(Profile &profile, const FilteredText &message)
{
    profile.has[message.spam ? 1 : 0] = true;
    if (profile.read == mostMessages) {
        return;
    }
    ++profile.read;
    std::vector<PackedToken> sequences;
    const std::u16string_view text = message.text;
    for (std::size_t at = 0; at + sequenceLength <= text.size(); ++at) {
        const std::u16string_view units = text.substr(at, sequenceLength);
        if (std::none_of(units.begin(), units.end(), isDigitUnit)) {
            sequences.push_back(packToken(units));
        }
    }
    std::sort(sequences.begin(), sequences.end());
    sequences.erase(std::unique(sequences.begin(), sequences.end()), sequences.end());
    for (const PackedToken sequence : sequences) {
        ++profile.messages[sequence];
    }
}

double resemblance(const Profile &first, const Profile &second)
{
    double sum = 0;
    for (const auto &[sequence, messages] : first.messages) {
        const auto found = second.messages.find(sequence);
        sum += found == second.messages.end() ? 0 : messages * found->second;
    }
    return sum / std::max(first.norm * second.norm, 1e-9);
}

using Profiles = std::map<std::uint32_t, Profile>; // by source

void unite(Profiles &profiles, std::uint32_t first, std::uint32_t second)
{
    const auto [low, high] = std::pair(std::min(first, second), std::max(first, second));
    for (auto &[source, profile] : profiles) {
        profile.language = profile.language == high ? low : profile.language;
    }
}

bool hasBothClasses(const Profiles &profiles, std::uint32_t language)
{
    bool has[2] = {false, false};
    for (const auto &[source, profile] : profiles) {
        for (const std::size_t side : {std::size_t{0}, std::size_t{1}}) {
            has[side] = has[side] || (profile.language == language && profile.has[side]);
        }
    }
    return has[0] && has[1];
}

// The language of the source of another language that one of `language` resembles most; itself when it is the only one.
std::uint32_t nearestLanguage(const Profiles &profiles, std::uint32_t language)
{
    std::uint32_t nearest = language;
    double most = -1;
    for (const auto &[source, profile] : profiles) {
        for (const auto &[other, otherProfile] : profiles) {
            if (profile.language != language || otherProfile.language == language) {
                continue;
            }
            if (const double found = resemblance(profile, otherProfile); found > most) {
                most = found;
                nearest = otherProfile.language;
            }
        }
    }
    return nearest;
}

} // namespace

std::map<std::uint32_t, std::uint32_t> languagesOf(const std::vector<FilteredText> &messages)
{
    Profiles profiles;
    for (const FilteredText &message : messages) {
        addMessage(profiles[message.source], message);
    }
    for (auto &[source, profile] : profiles) {
        profile.language = source;
        for (const auto &[sequence, count] : profile.messages) {
            profile.norm += count * count;
        }
        profile.norm = std::sqrt(profile.norm);
    }
    for (auto first = profiles.begin(); first != profiles.end(); ++first) {
        for (auto second = std::next(first); second != profiles.end(); ++second) {
            if (resemblance(first->second, second->second) >= resembling) {
                unite(profiles, first->second.language, second->second.language);
            }
        }
    }
    for (const auto &[source, profile] : profiles) {
        if (!hasBothClasses(profiles, profile.language)) {
            unite(profiles, profile.language, nearestLanguage(profiles, profile.language));
        }
    }
    std::map<std::uint32_t, std::uint32_t> languages;
    for (const auto &[source, profile] : profiles) {
        languages[source] = profile.language;
    }
    return languages;
}

} // namespace velq::kit
