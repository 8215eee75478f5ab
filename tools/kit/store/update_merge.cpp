// Looks at update files and merges them through the engine.
#include "kit/store/update_merge.h"

#include "kit/base/database.h"
#include "kit/base/plural.h"
#include "kit/engine/data_versions.h"
#include "kit/store/store_file.h"
#include "kit/store/update_inspection.h"
#include "kit/store/white_update.h"
#include "velq.h"

namespace velq::kit {

namespace {

// A delivery with what is known of it before it is merged.
struct Delivery : UpdateDelivery {
    const char *table = nullptr;
    std::filesystem::path target;
    UpdateReport report = {};
    std::string fingerprint = {};
};

} // namespace

// The engine takes 255 bytes. It would turn a backslash into the separator.
static WideText updatePath(const std::string &file)
{
    constexpr std::size_t longest = 255;
    if (file.size() > longest) {
        throw Error(Status::usage, "the path " + file + " is longer than 255 bytes; copy the file to a shorter one");
    }
    if (file.find('\\') != std::string::npos) {
        throw Error(Status::usage, "the path " + file + " holds a backslash; rename the file");
    }
    return wideArgument(file, "the path of the update file");
}

// The engine reports a file of another kind and a locked target as it reports success or any failure; these are told
// apart here first.
static void checkMerge(const std::string &file, const char *table, const std::filesystem::path &target)
{
    if (Database update(file, DatabaseMode::read); !update.hasTable(table)) {
        throw Error(Status::badData,
                    file + " holds no " + table + ", so it is not an update of this kind; give another file");
    }
    Database store(target, DatabaseMode::write);
    store.exec("BEGIN IMMEDIATE;");
    store.exec("ROLLBACK;");
}

// The merge takes all rows or none and says nothing of the reason; what is known to make it fail is found here before
// anything is merged.
static UpdateReport checkedRows(const Delivery &delivery, const Installation &installation)
{
    UpdateReport report =
        inspectUpdate(delivery.file, installation.dataFile("prob.bin"), installation.dataFile("wn.bin"));
    const bool one = report.hasTokens != report.hasNumbers; // of two tables, only one is merged
    if (one && !report.problems.empty()) {
        throw Error(Status::badData, delivery.file + " cannot be merged, nothing was changed: " +
                                         report.problems.front().where + ": " + report.problems.front().what +
                                         "; velq update inspect " + delivery.file + " lists what is wrong");
    }
    return report;
}

// ---- What a merge would do that nobody wants

static std::string versionObjection(const Delivery &delivery, std::int32_t installed)
{
    if (delivery.version > installed) {
        return {};
    }
    const std::string versions = "version " + std::to_string(installed) + " is installed, and " + delivery.file +
                                 " is given as " + std::to_string(delivery.version);
    return delivery.version == installed
               ? versions + ": an update that is merged twice counts twice"
               : versions + ": older data would be added to newer, and programs would see the older version";
}

static std::string repeatObjection(const Delivery &delivery, const UpdateRecord &record)
{
    const auto before = record.find(delivery.kind, delivery.fingerprint);
    return before ? delivery.file + " was merged already, as version " + before->version + " at " + before->time +
                        ": everything in it would count twice"
                  : std::string();
}

static std::string wrapObjection(const Delivery &delivery)
{
    const auto &wraps = delivery.report.wraps;
    if (delivery.kind != UpdateKind::probability || wraps.empty()) {
        return {};
    }
    const std::string others = wraps.size() > 1 ? " and " + plural(wraps.size() - 1, "row") + " more" : "";
    return delivery.file + " would ruin counts: " + wraps.front().where + ": " + wraps.front().what + others +
           " (velq update inspect " + delivery.file + " --store " + delivery.target.string() + ")";
}

static void look(Delivery &delivery, const Installation &installation, std::int32_t installed, WhenRefused refused,
                 const std::function<void(const std::string &)> &forced)
{
    checkMerge(delivery.file, delivery.table, delivery.target);
    delivery.report = checkedRows(delivery, installation);
    delivery.fingerprint = fingerprintOf(delivery.file, delivery.kind);
    const UpdateRecord record(installation);
    record.checkWritable();
    std::string objections;
    for (const std::string &objection :
         {versionObjection(delivery, installed), repeatObjection(delivery, record), wrapObjection(delivery)}) {
        objections += objection.empty() || objections.empty() ? objection : "; " + objection;
    }
    if (!objections.empty() && refused == WhenRefused::fail) {
        throw UpdateRefused(objections);
    }
    if (!objections.empty()) {
        forced(objections);
    }
}

// ---- The merge

// What a merge changes, to see whether it did.
static bool changes(const Delivery &delivery)
{
    return delivery.kind == UpdateKind::probability ? delivery.report.changesCounts : delivery.report.newNumbers > 0;
}

static std::vector<StoreRow> rowsOf(const Delivery &delivery)
{
    if (delivery.kind == UpdateKind::probability) {
        return readStoreContents(delivery.target).rows;
    }
    std::vector<StoreRow> rows;
    for (const std::string &number : deliveredNumbers(delivery.target)) {
        rows.push_back({StoredValue::ofBlob(number), {}});
    }
    return rows;
}

// The engine reports a failed commit as success, and a version that could not be recorded as a failed merge.
static void merge(const Delivery &delivery, const Engine &engine, const Installation &installation,
                  const std::string &before)
{
    const std::vector<StoreRow> rows = rowsOf(delivery);
    const bool tokens = delivery.kind == UpdateKind::probability;
    const std::int32_t code = tokens ? VELQ_UpdateData(delivery.path.c_str(), delivery.version, nullptr, 0)
                                     : VELQ_UpdateData(nullptr, 0, delivery.path.c_str(), delivery.version);
    const bool stored = !changes(delivery) || rowsOf(delivery) != rows;
    if (!stored) {
        engine.check(code, "merging " + delivery.file + " failed and changed nothing" + before);
        throw Error(Status::inputOutput, "merging " + delivery.file + " changed nothing" + before +
                                             ", though its version was recorded; " + "check the space left for " +
                                             delivery.target.string() + ", then merge it with --force");
    }
    UpdateRecord(installation).add(delivery.kind, delivery.version, delivery.fingerprint, delivery.file);
    engine.check(code, delivery.file + " was merged" + before + ", but its version could not be recorded");
}

// ---- The calls ----------------------------------------------------------------------------------------------------

UpdateDelivery deliveryOf(UpdateKind kind, const std::string &file, std::int32_t version)
{
    return {kind, file, version, updatePath(file)};
}

void mergeUpdates(const Engine &engine, const Installation &installation, const std::vector<UpdateDelivery> &deliveries,
                  WhenRefused refused, const std::function<void(const std::string &)> &forced)
{
    std::vector<Delivery> looked;
    for (const UpdateDelivery &given : deliveries) {
        const bool tokens = given.kind == UpdateKind::probability;
        Delivery delivery{given, tokens ? "diffProbTable" : "diffWnTable",
                          installation.dataFile(tokens ? "prob.bin" : "wn.bin")};
        look(delivery, installation, installedVersion(engine, tokens ? VELQ_DATA_PROBABILITY : VELQ_DATA_WHITE_NUMBERS),
             refused, forced);
        looked.push_back(std::move(delivery));
    }
    // One call for each file: a call for both returns the second result only.
    std::string before;
    for (const Delivery &delivery : looked) {
        merge(delivery, engine, installation, before);
        before = " (" + delivery.file + " was merged before it)";
    }
}

} // namespace velq::kit
