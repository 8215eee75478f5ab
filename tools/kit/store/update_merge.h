// Merging update files into an installation, once it is known what they would do.
#ifndef VELQ_KIT_STORE_UPDATE_MERGE_H
#define VELQ_KIT_STORE_UPDATE_MERGE_H

#include "kit/base/status.h"
#include "kit/engine/engine.h"
#include "kit/store/update_record.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace velq::kit {

// An update file with the version to record for it.
struct UpdateDelivery {
    UpdateKind kind;
    std::string file;
    std::int32_t version;
    WideText path; // as the engine takes it
};

// Throws Error (usage) for a path that the engine cannot take.
UpdateDelivery deliveryOf(UpdateKind kind, const std::string &file, std::int32_t version);

// An update that could be merged, but that nobody would want: what speaks against it.
class UpdateRefused : public Error {
  public:
    explicit UpdateRefused(const std::string &objections)
        : Error(Status::badData, objections + "; nothing was changed; --force merges it all the same"),
          objections_(objections)
    {
    }

    const std::string &objections() const
    {
        return objections_;
    }

  private:
    std::string objections_;
};

// What is done with an update that nobody wants: a version that is not above the installed one, a file that was merged
// already, one that would wrap a count.
enum class WhenRefused { fail, force };

// Looks at all of them before the first one is merged, then merges each. `forced` gets what spoke against one that was
// forced. Throws Error (badData) and changes nothing for files that cannot or should not be merged.
void mergeUpdates(const Engine &engine, const Installation &installation, const std::vector<UpdateDelivery> &deliveries,
                  WhenRefused refused, const std::function<void(const std::string &)> &forced);

} // namespace velq::kit

#endif
