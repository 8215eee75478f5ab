// Making and removing a folder of our own.
#include "kit/base/temporary_folder.h"

#include "kit/base/status.h"

#include <cstdlib>
#include <string>

namespace velq::kit {

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder(fs::path parent)
{
    std::error_code code;
    if (parent.empty()) {
        parent = fs::temp_directory_path(code);
    }
    const EndingSignalsHeld held;
    std::string name = (parent / "velq-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw Error(Status::cannotCreate, "cannot create a temporary folder in " + parent.string() +
                                              "; set TMPDIR to a folder that you may write");
    }
    path_ = name;
    onSignal_ = std::make_unique<RemovedOnSignal>(path_);
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

} // namespace velq::kit
