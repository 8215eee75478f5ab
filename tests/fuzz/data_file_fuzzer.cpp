// One data file made of the input's bytes; all other files are sound. Everything that reads or writes a data file is
// called, in the start variant that the parity of the bytes picks. VELQ_FUZZ_DATA_FILE, set by the build, names the
// file.
#include "fuzz_harness.h"

#include <functional>
#include <numeric>

using namespace velq::fuzz;

namespace {

void expect(std::int32_t result)
{
    requireResult(result, {VELQ_SUCCESS, VELQ_ERR_FAILED}, "an export on a foreign data file");
}

void editLists()
{
    WideText number = VELQ_TEXT("+8613812345678");
    WideText name = VELQ_TEXT("someone");
    const NumberRecord record{number.data(), name.data()};
    NumberListNode second{nullptr, name.data(), number.data(), 8};
    const NumberListNode first{&second, name.data(), number.data(), 7};
    expect(VELQ_AddBlackNumberSync(&record, 0, 5));
    expect(VELQ_AddWhiteNumberSync(&record, 1, 6));
    requireResult(VELQ_AddWhiteNumberListSync(&first, 0), {VELQ_SUCCESS, VELQ_ERR_DATABASE_FULL, VELQ_ERR_BATCH_FAILED},
                  "a batch add");
    expect(VELQ_RemoveBlackNumberSync(&record));
    expect(VELQ_RemoveWhiteNumberSync(&record));
    expect(VELQ_DeleteBlackNumberByUID(1));
    expect(VELQ_DeleteWhiteNumberByUID(1));
    expect(VELQ_DeleteBlackNumberByExtendID(2));
    expect(VELQ_DeleteWhiteNumberByExtendID(7));
}

void update()
{
    const std::filesystem::path file = updateFile();
    velq::test::makeProbabilityUpdate(file, {velq::test::probabilityRow(VELQ_TEXT("free"), {1, 2, 3}),
                                             velq::test::probabilityRow(VELQ_TEXT("offr"), {4, 5, 6})});
    velq::test::Database(file).exec("CREATE TABLE diffWnTable(number BLOB, name BLOB);"
                                    "INSERT INTO diffWnTable VALUES(x'31003200330000', x'41000000');");
    const WideText path = velq::test::widePath(file);
    expect(VELQ_UpdateData(path.c_str(), 12, path.c_str(), 13));
}

void useEverything(StartVariant variant)
{
    const Engine engine(variant);
    const WideText spam = VELQ_TEXT("free cash prize, call now 1381234567 to win");
    rate(spam, VELQ_TEXT("10690000"));
    rate(VELQ_TEXT("lunch at home tonight"), VELQ_TEXT("13812345678"));
    giveFeedback(spam, VELQ_TEXT("13900001111"));
    readLists(VELQ_HIDDEN_ANY);
    editLists();
    readVersions();
    update();
    readLists(1);
    expect(VELQ_RemoveAllBlackNumberSync(1));
    expect(VELQ_RemoveAllWhiteNumberSync(VELQ_HIDDEN_ANY));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    restoreInstallation();
    writeFile(installation().dataFile(VELQ_FUZZ_DATA_FILE),
              std::string_view(reinterpret_cast<const char *>(data), size));
    const int parity = std::accumulate(data, data + size, 0, std::bit_xor<int>());
    useEverything((parity & 1) != 0 ? StartVariant::norix : StartVariant::plain);
    return 0;
}
