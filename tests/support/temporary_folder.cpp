// Names are random and claimed by creating the folder, so that test programs running at the same time never share one.
#include "support/temporary_folder.h"

#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <system_error>

namespace velq::test {

namespace {

std::string randomName()
{
    constexpr int nameLength = 10;
    constexpr char alphabet[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    std::random_device device;
    std::uniform_int_distribution<std::size_t> pick(0, sizeof alphabet - 2);
    std::string name = "velq-";
    for (int i = 0; i < nameLength; ++i) {
        name += alphabet[pick(device)];
    }
    return name;
}

} // namespace

TemporaryFolder::TemporaryFolder()
{
    constexpr int attempts = 16;
    const std::filesystem::path parent = std::filesystem::temp_directory_path();
    for (int i = 0; i < attempts; ++i) {
        const std::filesystem::path candidate = parent / randomName();
        if (std::filesystem::create_directory(candidate)) {
            path_ = candidate;
            return;
        }
    }
    throw std::runtime_error("no free name for a temporary folder");
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string readFile(const std::filesystem::path &file)
{
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeFile(const std::filesystem::path &file, std::string_view bytes)
{
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!out.flush()) {
        throw std::runtime_error("cannot write " + file.string());
    }
}

} // namespace velq::test
