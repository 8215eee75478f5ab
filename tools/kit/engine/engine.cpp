// The engine's start and stop on an installation, and the reasons of its failures.
#include "kit/engine/engine.h"

#include "kit/base/status.h"
#include "velq.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>
#include <vector>

namespace velq::kit {

namespace fs = std::filesystem;

Engine::Engine(const Installation &installation, Connections connections)
    : connections_(connections), installation_(installation),
      log_((installation.programFolder() / (connections == Connections::kept ? "norix-engine.log" : "engine.log"))
               .string())
{
    const WideText directory = installation.programDirectory();
    installation.checkComplete();
    const bool kept = connections == Connections::kept;
    check(kept ? VELQ_Norix_Initialize(directory.c_str()) : VELQ_Initialize(directory.c_str()),
          "the engine did not start");
}

Engine::~Engine()
{
    if (connections_ == Connections::kept) {
        VELQ_Norix_Finalize();
    } else {
        VELQ_Finalize();
    }
}

// Where the user may not write, the engine could not log either, and what the log ends with is older.
std::string Engine::reason() const
{
    const fs::path folder = installation_.dataFile("prob.bin").parent_path();
    std::vector<fs::path> needed = {folder};
    for (const std::string_view name : dataFileNames) {
        needed.push_back(installation_.dataFile(name));
    }
    for (const fs::path &path : needed) {
        if (::access(path.c_str(), R_OK | W_OK) != 0) {
            return path.string() + " cannot be read and written: " + std::strerror(errno) + "; check its permissions";
        }
    }
    std::error_code ignored;
    if (fs::is_regular_file(log_, ignored) && fs::file_size(log_, ignored) > 0) {
        return "the reason is at the end of " + log_;
    }
    return "it could not be logged in " + log_ + "; check the folder, its permissions and the space left";
}

void Engine::check(int code, const std::string &what) const
{
    if (code != VELQ_SUCCESS) {
        throw Error(Status::inputOutput, what + " (code " + std::to_string(code) + "); " + reason());
    }
}

} // namespace velq::kit
