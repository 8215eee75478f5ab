// The log of the service: time and what happened, a line each. Never a message's text or number.
#ifndef VELQ_KIT_SERVE_SERVICE_LOG_H
#define VELQ_KIT_SERVE_SERVICE_LOG_H

#include <filesystem>
#include <fstream>
#include <mutex>
#include <ostream>
#include <string>

namespace velq::kit {

class ServiceLog {
  public:
    // Appends to `file`, or writes to `err` when the name is empty. Throws Error (cannotCreate).
    ServiceLog(std::filesystem::path file, std::ostream &err);

    // From any thread. Never throws: what cannot be logged is not.
    void line(const std::string &text);
    // Opens the file by its name once more, for it may have been moved away. Where that fails the old one goes on.
    void reopen();

  private:
    std::filesystem::path name_;
    std::ostream &err_;
    std::mutex mutex_;
    std::ofstream file_;
};

} // namespace velq::kit

#endif
