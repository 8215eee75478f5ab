// The spool's file: for each message its label, its length in bytes and its text, one after the other.
#include "kit/messages/message_spool.h"

#include "kit/base/status.h"
#include "kit/base/wide_text.h"

#include <string>

namespace velq::kit {

namespace {

struct RecordHead {
    std::uint32_t spam = 0;
    std::uint32_t bytes = 0;
};

[[noreturn]] void failToSpool(const std::filesystem::path &folder)
{
    throw Error(Status::inputOutput, "cannot keep the messages in " + folder.string() +
                                         "; set TMPDIR to a folder with room for all of them");
}

} // namespace

MessageSpool::MessageSpool()
{
    const auto path = folder_.path() / "messages";
    file_.open(path, std::ios::binary | std::ios::in | std::ios::out | std::ios::trunc);
    if (!file_) {
        throw Error(Status::cannotCreate, "cannot create " + path.string() +
                                              "; set TMPDIR to a folder that you may "
                                              "write");
    }
}

void MessageSpool::add(bool spam, std::string_view text)
{
    const RecordHead head{spam ? 1U : 0U, static_cast<std::uint32_t>(text.size())};
    file_.write(reinterpret_cast<const char *>(&head), sizeof head);
    file_.write(text.data(), static_cast<std::streamsize>(text.size()));
    if (!file_) {
        failToSpool(folder_.path());
    }
    ++size_;
}

void MessageSpool::forEach(const MessageTaker &take)
{
    file_.seekg(0); // writes out what is still buffered
    std::string text;
    for (std::uint64_t done = 0; done < size_; ++done) {
        RecordHead head;
        file_.read(reinterpret_cast<char *>(&head), sizeof head);
        text.resize(file_ ? head.bytes : 0);
        file_.read(text.data(), static_cast<std::streamsize>(text.size()));
        if (!file_) {
            failToSpool(folder_.path());
        }
        take({head.spam != 0, utf16FromUtf8(text).value_or(u"")});
    }
}

} // namespace velq::kit
