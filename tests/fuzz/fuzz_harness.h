// What the fuzz targets of the engine share: reading an input as numbers and texts, one installation that every input
// starts from afresh, the engine with its waits taken out and its memory counted, and checks that end the process with
// a reason.
#ifndef VELQ_FUZZ_HARNESS_H
#define VELQ_FUZZ_HARNESS_H

#include "fuzz_target.h"
#include "support/engine_session.h"
#include "support/installation.h"
#include "support/temporary_folder.h"
#include "support/wide.h"
#include "velq.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <string_view>

namespace velq::fuzz {

using test::NumberList;
using test::StartVariant;
using test::WideText;

// A finding where a result code is none of the documented ones.
void requireResult(std::int32_t result, std::initializer_list<std::int32_t> documented, const char *what);

// Reads an input from its front. Behind the end everything reads as zero.
class Input {
  public:
    Input(const std::uint8_t *data, std::size_t size) : data_(data), size_(size) {}

    bool isAtEnd() const
    {
        return at_ >= size_;
    }
    std::uint8_t byte();
    // 0 to `limit` - 1.
    std::uint32_t below(std::uint32_t limit);
    std::int32_t integer();
    // One byte of length, then that many bytes; at most `most`.
    std::string bytes(std::size_t most);
    // One byte of length, then that many pieces: a byte below 0x80 is that character, 0xFF introduces any code unit,
    // the others name words of the token store and pieces that the text filter looks at. At most `most` units.
    WideText text(std::size_t most);
    // Like text, but with digits and list numbers as pieces.
    WideText number(std::size_t most);

  private:
    const std::uint8_t *data_;
    std::size_t size_;
    std::size_t at_ = 0;
};

// The installation of this process, in memory where the system offers that. Its files are a small token store, a few
// numbers on each list and three versions.
const test::Installation &installation();
// Puts the five data files back to their first state and removes logs, journals, the debug marker and update files.
void restoreInstallation();
using test::readFile;
using test::writeFile;
// Where a target lays down an update file.
std::filesystem::path updateFile();

// The engine running on the installation for the length of a scope. A start opens no database page, so it succeeds
// whatever the files hold. At the end nothing of the engine's may be left: no allocation, no database memory, no open
// file.
class Engine {
  public:
    explicit Engine(StartVariant variant);
    ~Engine();
    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;

  private:
    int filesBefore_;
    test::EngineSession session_;
};

// Each calls its exports, checks the results and releases what they return.
void rate(const WideText &body, const WideText &number);
void giveFeedback(const WideText &body, const WideText &number);
void readLists(std::int32_t hidden);
void readVersions();

// An entry for the list exports.
struct Entry {
    WideText number;
    WideText name;
};

void addSingle(NumberList list, const Entry &entry, std::int32_t hidden, std::int32_t extendID);
void removeSingle(NumberList list, const WideText &number);

// Every data file passes the integrity check, no count of the token store is below zero.
void requireSoundStores();

} // namespace velq::fuzz

#endif
