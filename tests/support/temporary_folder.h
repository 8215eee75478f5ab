// A folder of its own for one test, removed with everything in it when the test ends.
#ifndef VELQ_TEST_SUPPORT_TEMPORARY_FOLDER_H
#define VELQ_TEST_SUPPORT_TEMPORARY_FOLDER_H

#include <filesystem>

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

} // namespace velq::test

#endif
