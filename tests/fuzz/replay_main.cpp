// Runs a fuzz target over stored inputs, for builds without a fuzzing engine: each argument is a file or a folder of
// files. Ends with an error when there is none, so that a replay without inputs is no success.
#include "fuzz_target.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

static std::vector<std::filesystem::path> inputsIn(const std::filesystem::path &place)
{
    std::vector<std::filesystem::path> files;
    if (std::filesystem::is_directory(place)) {
        for (const auto &entry : std::filesystem::directory_iterator(place)) {
            files.push_back(entry.path());
        }
        std::sort(files.begin(), files.end());
    } else {
        files.push_back(place);
    }
    return files;
}

static std::vector<std::uint8_t> contentsOf(const std::filesystem::path &file)
{
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

int main(int argc, char **argv)
{
    int replayed = 0;
    for (int i = 1; i < argc; ++i) {
        for (const std::filesystem::path &file : inputsIn(argv[i])) {
            const std::vector<std::uint8_t> input = contentsOf(file);
            std::fprintf(stderr, "%s: %zu bytes\n", file.c_str(), input.size());
            LLVMFuzzerTestOneInput(input.data(), input.size());
            ++replayed;
        }
    }
    std::printf("%d inputs replayed\n", replayed);
    return replayed > 0 ? 0 : 1;
}
