// Making and removing a folder of our own.
#include "kit/base/temporary_folder.h"

#include "kit/base/status.h"

#ifdef _WIN32
#include <random>
#else
#include <cstdlib>
#include <string>
#endif

namespace velq::kit {

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder(fs::path parent)
{
    std::error_code code;
    if (parent.empty()) {
        parent = fs::temp_directory_path(code);
    }
    const EndingSignalsHeld held;
#ifdef _WIN32
    std::random_device random;
    path_ = parent / ("velq-" + std::to_string(random()) + std::to_string(random()));
    const bool made = fs::create_directory(path_, code);
#else
    std::string name = (parent / "velq-XXXXXX").string();
    const bool made = mkdtemp(name.data()) != nullptr;
    path_ = name;
#endif
    if (!made) {
        throw Error(Status::cannotCreate, "cannot create a temporary folder in " + parent.string() +
                                              "; set TMPDIR to a folder that you may write");
    }
    onSignal_ = std::make_unique<RemovedOnSignal>(path_);
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

} // namespace velq::kit
