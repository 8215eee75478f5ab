// The handler of the ending signals. It runs between any two instructions, so it makes system calls only: no memory is
// allocated, no stream written, and the paths lie in storage of their own.
#include "kit/base/interruption.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace velq::kit {

namespace {

// A path, and the name it is moved to before it is removed: a child process that still works in a folder then finds it
// no more, and adds nothing to what is being removed.
struct Slot {
    std::atomic<bool> taken{false};
    std::atomic<bool> ready{false};
    char path[PATH_MAX]{};
    char aside[PATH_MAX]{};
};

constexpr std::size_t slotCount = 16;
std::array<Slot, slotCount> slots;
std::atomic<pid_t> owner{0};

constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP};

bool isDots(const char *name)
{
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

void removeTree(int parent, const char *name);

// One pass over the entries; removing while reading may pass some over.
bool removeEntries(int folder)
{
    alignas(dirent64) char buffer[2048];
    bool found = false;
    for (ssize_t length = getdents64(folder, buffer, sizeof buffer); length > 0;
         length = getdents64(folder, buffer, sizeof buffer)) {
        for (ssize_t at = 0; at < length;) {
            const auto *entry = reinterpret_cast<const dirent64 *>(buffer + at);
            if (!isDots(entry->d_name)) {
                found = true;
                removeTree(folder, entry->d_name);
            }
            at += entry->d_reclen;
        }
    }
    return found;
}

void removeTree(int parent, const char *name)
{
    if (unlinkat(parent, name, 0) == 0 || (errno != EISDIR && errno != EPERM)) {
        return;
    }
    constexpr int mostPasses = 16;
    const int folder = openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (folder >= 0) {
        for (int pass = 0; pass < mostPasses && removeEntries(folder); ++pass) {
            lseek(folder, 0, SEEK_SET);
        }
        close(folder);
    }
    unlinkat(parent, name, AT_REMOVEDIR);
}

extern "C" void endProgram(int signal)
{
    if (getpid() == owner) {
        for (const Slot &slot : slots) {
            if (slot.ready) {
                removeTree(AT_FDCWD, rename(slot.path, slot.aside) == 0 ? slot.aside : slot.path);
            }
        }
    }
    // The handler was taken off when it was called; the signal waits until it returns, and then ends the program.
    raise(signal);
}

void catchEndingSignals()
{
    for (const int signal : endingSignals) {
        struct sigaction present {};
        if (sigaction(signal, nullptr, &present) != 0 || present.sa_handler != SIG_DFL) {
            continue;
        }
        struct sigaction ending {};
        ending.sa_handler = endProgram;
        ending.sa_flags = static_cast<int>(SA_RESETHAND);
        for (const int blocked : endingSignals) {
            sigaddset(&ending.sa_mask, blocked);
        }
        sigaction(signal, &ending, nullptr);
    }
}

} // namespace

RemovedOnSignal::RemovedOnSignal(const std::filesystem::path &path) : slot_(slotCount)
{
    std::error_code ignored;
    const std::string name = std::filesystem::absolute(path, ignored).string();
    const std::string aside = name + ".gone";
    for (std::size_t i = 0; i < slotCount && aside.size() < PATH_MAX; ++i) {
        if (!slots[i].taken.exchange(true)) {
            slot_ = i;
            name.copy(slots[i].path, name.size());
            slots[i].path[name.size()] = '\0';
            aside.copy(slots[i].aside, aside.size());
            slots[i].aside[aside.size()] = '\0';
            owner = getpid();
            slots[i].ready = true;
            catchEndingSignals();
            return;
        }
    }
}

RemovedOnSignal::~RemovedOnSignal()
{
    if (slot_ < slotCount) {
        slots[slot_].ready = false;
        slots[slot_].taken = false;
    }
}

EndingSignalsHeld::EndingSignalsHeld()
{
    sigset_t ending{};
    for (const int signal : endingSignals) {
        sigaddset(&ending, signal);
    }
    pthread_sigmask(SIG_BLOCK, &ending, &before_);
}

EndingSignalsHeld::~EndingSignalsHeld()
{
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

} // namespace velq::kit
