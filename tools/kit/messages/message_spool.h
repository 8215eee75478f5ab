// Labelled messages on disk, written once and read as often as wanted, so that work on many messages needs no memory
// for them. The file lies in the temporary folder and goes with the record.
#ifndef VELQ_KIT_MESSAGES_MESSAGE_SPOOL_H
#define VELQ_KIT_MESSAGES_MESSAGE_SPOOL_H

#include "kit/base/temporary_folder.h"
#include "kit/messages/labelled_text.h"

#include <cstdint>
#include <fstream>
#include <string_view>

namespace velq::kit {

class MessageSpool {
  public:
    // Throws Error (cannotCreate).
    MessageSpool();

    // `text` is UTF-8. Throws Error (inputOutput), as where the disk is full.
    void add(bool spam, std::string_view text);
    // The messages in the order of adding. Nothing may be added afterwards. Throws Error (inputOutput).
    void forEach(const MessageTaker &take);

    std::uint64_t size() const
    {
        return size_;
    }

  private:
    TemporaryFolder folder_;
    std::fstream file_;
    std::uint64_t size_ = 0;
};

} // namespace velq::kit

#endif
