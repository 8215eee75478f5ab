// The text form of a token store, from any bytes. What is read stays the same through the text form and through a
// prob.bin, and written twice it gives the same bytes.
#include "kit/store/store_check.h"
#include "kit/store/store_text.h"
#include "kit_target.h"
#include "support/temporary_folder.h"

using namespace velq::fuzz;
using namespace velq::kit;

namespace {

std::string written(const StoreContents &contents)
{
    std::ostringstream out;
    writeStoreText(out, contents);
    return out.str();
}

// Opening a database for each input would leave little time for texts; larger ones hold no other kinds of rows.
constexpr std::size_t mostRowsThroughFile = 8;

bool hasNullKey(const StoreContents &contents)
{
    return !contents.rows.empty() && contents.rows.front().key.kind == StoredValue::Kind::null;
}

StoreContents throughFile(const StoreContents &contents)
{
    static const velq::test::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "prob.bin";
    writeStoreContents(file, contents);
    return readStoreContents(file);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    StoreContents contents;
    if (!isAccepted([&] { contents = readText(readStoreText, textOf(data, size)); })) {
        return 0;
    }
    const std::string text = written(contents);
    const StoreContents again = readText(readStoreText, text);
    require(again.rows == contents.rows, "the text form does not keep what was read");
    require(written(again) == text, "the text form of the text form is another");
    if (contents.rows.size() <= mostRowsThroughFile) {
        std::string fromFile;
        const bool isWritten = isAccepted([&] { fromFile = written(throughFile(contents)); });
        require(isWritten != hasNullKey(contents), "only a null key has no place in a prob.bin");
        require(!isWritten || fromFile == text, "a prob.bin does not keep what was read");
    }
    verifyContents(contents);
    statisticsOf(contents);
    return 0;
}
