// How many written spam messages are caught plain, in each disguise, and in each disguise and prepared: a table for
// docs/text-preparation.md. The engine rates them, on an installation of its own that learns nothing.
// Usage: velq_disguises [STORE [MESSAGES [SEED]]]; without STORE the starter store beside the program.
#include "disguises.h"
#include "kit/base/temporary_folder.h"
#include "kit/engine/engine.h"
#include "kit/engine/installation.h"
#include "kit/messages/text_form.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <utf8.h>
#include <vector>

namespace velq::bench {

static std::vector<std::u32string> readMessages(const std::string &file)
{
    std::ifstream in(file, std::ios::binary);
    std::vector<std::u32string> messages;
    for (std::string line; std::getline(in, line);) {
        const std::size_t tab = line.find('\t');
        if (!line.empty() && line.front() != '#' && tab != std::string::npos) {
            messages.push_back(utf8::utf8to32(line.substr(tab + 1)));
        }
    }
    if (messages.empty()) {
        throw std::runtime_error(file + " holds no messages: a language, a tab and a text in a line");
    }
    return messages;
}

struct Caught {
    std::size_t raw = 0;
    std::size_t prepared = 0;
};

static bool isCaught(const kit::Engine &engine, kit::TextForm form, const std::u32string &text)
{
    const kit::WideText body = kit::wideFromUtf16(kit::utf16InForm(form, utf8::utf32to8(text)));
    std::uint32_t rating = VELQ_RATING_UNSURE;
    engine.check(VELQ_CheckSpamMsgSync(&rating, body.c_str(), VELQ_TEXT("")), "rating failed");
    return rating == VELQ_RATING_SPAM;
}

static void count(const kit::Engine &engine, const std::u32string &text, Caught &caught)
{
    caught.raw += isCaught(engine, kit::TextForm::raw, text) ? 1U : 0U;
    caught.prepared += isCaught(engine, kit::TextForm::prepared, text) ? 1U : 0U;
}

static void printRow(std::string_view name, const Caught &caught, const Caught &plain, const char *aim)
{
    const double share =
        plain.prepared == 0 ? 0 : static_cast<double>(caught.prepared) / static_cast<double>(plain.prepared);
    std::printf("| %s | %zu | %zu | %.2f | %s |\n", std::string(name).c_str(), caught.raw, caught.prepared, share, aim);
}

static void printTable(const std::string &store, const std::string &file, std::uint64_t seed)
{
    const std::vector<std::u32string> messages = readMessages(file);
    const kit::TemporaryFolder folder;
    const kit::Installation installation(folder.path());
    kit::layOut(installation, store);
    kit::setTraining(installation, false);
    const kit::Engine engine(installation, kit::Engine::Connections::kept);

    Caught plain;
    for (const std::u32string &message : messages) {
        count(engine, message, plain);
    }
    std::printf(
        "| of %zu messages | caught raw | caught prepared | of plain, prepared | aim |\n|---|---|---|---|---|\n",
        messages.size());
    printRow("plain", plain, plain, "");
    constexpr double aimedShare = 0.9;
    for (const Disguise &disguise : disguises) {
        Caught caught;
        for (const std::u32string &message : messages) {
            count(engine, disguise.disguised(message, seed), caught);
        }
        const bool isMet = static_cast<double>(caught.prepared) >= aimedShare * static_cast<double>(plain.prepared);
        printRow(disguise.name, caught, plain, !disguise.hasAim ? "none" : isMet ? "met" : "missed");
    }
}

} // namespace velq::bench

int main(int argc, char **argv)
{
    try {
        const std::string store = argc > 1 ? argv[1] : velq::kit::starterStore().string();
        const std::string file = argc > 2 ? argv[2] : VELQ_DISGUISED_MESSAGES;
        if (store.empty()) {
            throw std::runtime_error("no starter store beside the program: name a token store");
        }
        velq::bench::printTable(store, file, argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 1);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "velq_disguises: %s\n", error.what());
        return 1;
    }
    return 0;
}
