// The disk mapping through the wrapped C library calls, as the load module makes them.
#include "hostDisk.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

class HostDiskTest : public ::testing::Test {
  protected:
    void SetUp() override {
        char pattern[] = "/tmp/ulsa-disk-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        m_folder = pattern;
    }
    void TearDown() override {
        hostdisk::clearDiskRoot();
        fs::remove_all(m_folder);
    }
    std::string m_folder;
};

TEST_F(HostDiskTest, pathsUnderTheVolumeMoveIntoTheStateFolderAndNoOtherPathDoes) {
    std::string mapped;
    EXPECT_FALSE(hostdisk::hostPath("/d/ulsasample", mapped));
    errno = 0;
    EXPECT_EQ(std::fopen("/d/ulsasample/x", "w+"), nullptr);
    EXPECT_EQ(errno, ENOENT);

    std::string problem;
    ASSERT_TRUE(hostdisk::setDiskRoot(m_folder + "/node1/", problem)) << problem;
    const std::string disk = m_folder + "/node1/d";
    EXPECT_EQ(hostdisk::diskFolder(), disk);
    const struct {
        const char* nodePath;
        std::string hostPath;
    } table[] = {
        {"/d", disk},
        {"/d/", disk + "/"},
        {"/d/ulsasample/a,b", disk + "/ulsasample/a,b"},
        {"/dev/null", "/dev/null"},
        {"/d2/x", "/d2/x"},
        {"d/x", "d/x"},
        {"/tmp/d/x", "/tmp/d/x"},
    };
    for (const auto& row : table) {
        ASSERT_TRUE(hostdisk::hostPath(row.nodePath, mapped));
        EXPECT_EQ(mapped, row.hostPath) << row.nodePath;
    }

    // The calls of the sampling file's life, each through its wrapper.
    EXPECT_NE(access("/d/ulsasample", F_OK), 0);
    ASSERT_EQ(mkdir("/d/ulsasample", 0755), 0);
    struct stat info;
    ASSERT_EQ(stat("/d/ulsasample", &info), 0);
    EXPECT_TRUE(S_ISDIR(info.st_mode));
    FILE* file = std::fopen("/d/ulsasample/sample", "w+");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(std::fwrite("block", 1, 5, file), 5u);
    std::fclose(file);
    EXPECT_EQ(fs::file_size(disk + "/ulsasample/sample"), 5u);
    DIR* folder = opendir("/d/ulsasample");
    ASSERT_NE(folder, nullptr);
    closedir(folder);
    EXPECT_EQ(std::remove("/d/ulsasample/sample"), 0);
    EXPECT_EQ(rmdir("/d/ulsasample"), 0);
    EXPECT_FALSE(fs::exists(disk + "/ulsasample"));
    // A path that does not fit the host's limit once mapped fails as the host would.
    const std::string tooLong = "/d/" + std::string(PATH_MAX, 'x');
    errno = 0;
    EXPECT_EQ(std::fopen(tooLong.c_str(), "w+"), nullptr);
    EXPECT_EQ(errno, ENAMETOOLONG);
    FILE* other = std::fopen("/dev/null", "r");
    EXPECT_NE(other, nullptr);
    if (other != nullptr) {
        std::fclose(other);
    }

    // A second node's disk does not see the first one's files.
    file = std::fopen("/d/mine", "w");
    ASSERT_NE(file, nullptr);
    std::fclose(file);
    ASSERT_TRUE(hostdisk::setDiskRoot(m_folder + "/node2", problem)) << problem;
    EXPECT_NE(access("/d/mine", F_OK), 0);
    EXPECT_TRUE(fs::exists(disk + "/mine"));
}

}  // namespace
