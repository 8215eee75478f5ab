// An update file made of the input's bytes. Whatever it holds, the engine's own files stay sound and the target of a
// refused update stays as it was. VELQ_FUZZ_PROBABILITY_UPDATE, set by the build, tells which of the two kinds it is.
#include "fuzz_harness.h"

using namespace velq::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    restoreInstallation();
    writeFile(updateFile(), std::string_view(reinterpret_cast<const char *>(data), size));
    constexpr bool isProbability = VELQ_FUZZ_PROBABILITY_UPDATE != 0;
    const char *target = isProbability ? "prob.bin" : "wn.bin";
    const std::vector<std::string> before = installation().open(target).dump();
    std::int32_t result = 0;
    {
        const Engine engine(StartVariant::plain);
        const WideText path = velq::test::widePath(updateFile());
        result = isProbability ? VELQ_UpdateData(path.c_str(), 40, nullptr, 0)
                               : VELQ_UpdateData(nullptr, 0, path.c_str(), 50);
        requireResult(result, {VELQ_SUCCESS, VELQ_ERR_FAILED}, "VELQ_UpdateData");
        require(result == 0 || installation().open(target).dump() == before, "a refused update changed its target");
        rate(VELQ_TEXT("free cash prize, call now to win"), VELQ_TEXT("10690000"));
        readLists(VELQ_HIDDEN_ANY);
        readVersions();
    }
    const std::int32_t command = isProbability ? VELQ_DATA_PROBABILITY : VELQ_DATA_WHITE_NUMBERS;
    const std::int32_t recorded = isProbability ? 40 : 50;
    require(installation().version(command) == (result == 0 ? recorded : 1), "the version does not tell of the merge");
    for (const char *name : {"prob.bin", "wn.bin", "bn.bin", "ru.bin", "ver.bin"}) {
        require(installation().open(name).integrityCheck() == "ok", "a data file is damaged");
    }
    return 0;
}
