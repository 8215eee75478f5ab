// Files of templates and of values, by name.
#include "kit/messages/written_messages.h"

#include "kit/base/input.h"
#include "kit/messages/message_template.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <map>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace velq::kit {

namespace {

using Fields = std::pair<std::string, std::string>;

// Calls `take` for the two fields of each line that is no comment.
void forEachEntry(const std::filesystem::path &file, const std::function<void(Fields &&, std::uint64_t)> &take)
{
    InputFile input(file.string(), std::cin);
    forEachTextLine(input, [&](const std::string &line, std::uint64_t number) {
        if (line.front() == '#') {
            return;
        }
        const std::size_t tab = line.find('\t');
        if (tab == 0 || tab == std::string::npos || tab + 1 == line.size()) {
            failAt(input.name(), number, "expected a word, a tab and a text");
        }
        take({line.substr(0, tab), line.substr(tab + 1)}, number);
    });
}

TemplateSlots readSlots(const std::filesystem::path &file)
{
    TemplateSlots slots;
    if (!std::filesystem::exists(file)) {
        return slots;
    }
    forEachEntry(file, [&](Fields &&entry, std::uint64_t line) {
        std::vector<std::string> values;
        std::string_view rest = entry.second;
        for (std::size_t bar = 0; bar != std::string_view::npos;) {
            bar = rest.find('|');
            values.emplace_back(rest.substr(0, bar));
            rest.remove_prefix(std::min(bar + 1, rest.size()));
        }
        if (!slots.emplace(entry.first, std::move(values)).second) {
            failAt(file.string(), line, "the slot " + entry.first + " stands above already");
        }
    });
    return slots;
}

std::vector<std::filesystem::path> templateFiles(const std::string &folder)
{
    std::vector<std::filesystem::path> files;
    std::error_code code;
    for (const auto &entry : std::filesystem::directory_iterator(folder, code)) {
        const std::filesystem::path &path = entry.path();
        if (path.extension() == ".tsv" && path.filename().string().find('_') != std::string::npos) {
            files.push_back(path);
        }
    }
    if (code || files.empty()) {
        throw Error(Status::noInput, folder + " holds no files of written messages, such as en_bank.tsv");
    }
    std::sort(files.begin(), files.end());
    return files;
}

// The same everywhere, for the seed of a template's variants.
std::uint64_t hashOf(std::string_view text)
{
    std::uint64_t hash = 0xCBF29CE484222325U; // FNV-1a
    for (const char byte : text) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001B3U;
    }
    return hash;
}

// Without the blanks that an empty alternative leaves at either end.
void trim(std::string &text)
{
    text.erase(text.find_last_not_of(' ') + 1);
    text.erase(0, text.find_first_not_of(' '));
}

// Different variants, in the order in which they were drawn.
std::vector<std::string> variantsOf(const std::string &text, const TemplateSlots &slots, std::uint64_t variants,
                                    std::uint64_t seed)
{
    constexpr std::uint64_t triesForOne = 4;
    SeededSequence sequence(hashOf(text) + seed);
    std::vector<std::string> made;
    std::set<std::string> known;
    for (std::uint64_t tried = 0; tried < variants * triesForOne && made.size() < variants; ++tried) {
        std::string variant = makeVariant(text, slots, sequence);
        trim(variant);
        if (known.insert(variant).second) {
            made.push_back(std::move(variant));
        }
    }
    return made;
}

} // namespace

void readWrittenMessages(const std::string &folder, std::uint64_t variants, std::uint64_t seed,
                         const std::function<void(WrittenMessage &&)> &take)
{
    std::map<std::string, TemplateSlots> slotsOf;
    for (const std::filesystem::path &file : templateFiles(folder)) {
        const std::string name = file.filename().string();
        const std::string language = name.substr(0, name.find('_'));
        if (!slotsOf.contains(language)) {
            slotsOf[language] = readSlots(std::filesystem::path(folder) / (language + ".values"));
        }
        const TemplateSlots &slots = slotsOf[language];
        forEachEntry(file, [&](Fields &&entry, std::uint64_t line) {
            Label label{};
            if (!parseLabel(entry.first, label)) {
                failAt(file.string(), line, "the label is neither ham nor spam; correct it");
            }
            try {
                checkTemplate(entry.second, slots);
            } catch (const Error &error) {
                failAt(file.string(), line, error.what());
            }
            for (std::string &variant : variantsOf(entry.second, slots, variants, seed)) {
                take({language, {label, std::move(variant), line}});
            }
        });
    }
}

} // namespace velq::kit
