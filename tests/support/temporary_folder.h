// A folder of its own for one test, removed with everything in it when the test ends; and whole files read and written.
#ifndef VELQ_TEST_SUPPORT_TEMPORARY_FOLDER_H
#define VELQ_TEST_SUPPORT_TEMPORARY_FOLDER_H

#include <filesystem>
#include <string>
#include <string_view>

namespace velq::test {

class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    const std::filesystem::path &path() const
    {
        return path_;
    }

  private:
    std::filesystem::path path_;
};

// The bytes of a file; none where there is no file.
std::string readFile(const std::filesystem::path &file);
void writeFile(const std::filesystem::path &file, std::string_view bytes);

} // namespace velq::test

#endif
