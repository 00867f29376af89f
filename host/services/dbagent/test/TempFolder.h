// TempFolder: a folder of its own for a test, removed with everything in it at the end.
#ifndef HOSTDB_TEST_TEMP_FOLDER_H
#define HOSTDB_TEST_TEMP_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <string>

namespace hostdbtest {

class TempFolder {
  public:
    TempFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "ulsa-db-XXXXXX").string();
        const char* made = mkdtemp(pattern.data());
        m_path = made != nullptr ? made : "";
    }
    ~TempFolder() {
        std::error_code ignored;
        if (!m_path.empty())
            std::filesystem::remove_all(m_path, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::string& path() const { return m_path; }

  private:
    std::string m_path;
};

}  // namespace hostdbtest

#endif  // HOSTDB_TEST_TEMP_FOLDER_H
