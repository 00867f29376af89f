// ScratchFolder: a folder of a test's own under the system's temporary folder, removed
// with everything in it when the object ends.
#ifndef TEST_SUPPORT_SCRATCH_FOLDER_H
#define TEST_SUPPORT_SCRATCH_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <string>

namespace testsupport {

class ScratchFolder {
  public:
    /// The folder is "<tmp>/<prefix>-XXXXXX"; path() is empty when it could not be made.
    explicit ScratchFolder(const std::string& prefix = "ulsa-test") {
        std::string pattern =
            (std::filesystem::temp_directory_path() / (prefix + "-XXXXXX")).string();
        const char* made = mkdtemp(pattern.data());
        m_path = made != nullptr ? made : "";
    }
    ~ScratchFolder() {
        std::error_code ignored;
        if (!m_path.empty())
            std::filesystem::remove_all(m_path, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::string& path() const { return m_path; }

  private:
    std::string m_path;
};

}  // namespace testsupport

#endif  // TEST_SUPPORT_SCRATCH_FOLDER_H
