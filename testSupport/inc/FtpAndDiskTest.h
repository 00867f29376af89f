// FtpAndDiskTest: the fixture of tests that upload: an FTP server on loopback with one
// user that may write, and the node's disk in a state folder "/tmp/<prefix>-XXXXXX".
// The including test links hostFtpTestSupport, hostDisk and ose.
#ifndef TEST_SUPPORT_FTP_AND_DISK_TEST_H
#define TEST_SUPPORT_FTP_AND_DISK_TEST_H

#include "FtpTestServer.h"
#include "hostDisk.h"
#include "oseHost.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>

namespace testsupport {

class FtpAndDiskTest : public ::testing::Test {
  protected:
    FtpAndDiskTest(std::string user, std::string password, const std::string& prefix)
        : m_user(std::move(user)), m_password(std::move(password)),
          m_state("/tmp/" + prefix + "-XXXXXX") {}

    void SetUp() override {
        std::string whyNot;
        ASSERT_TRUE(m_ftp.start(m_user, m_password, whyNot)) << whyNot;
        ASSERT_NE(mkdtemp(m_state.data()), nullptr);
        ASSERT_TRUE(hostdisk::setDiskRoot(m_state, whyNot)) << whyNot;
    }
    // The kernel's processes use the disk: they end first.
    void TearDown() override {
        ose_shutdown();
        hostdisk::clearDiskRoot();
        std::filesystem::remove_all(m_state);
    }

    std::string m_user;
    std::string m_password;
    ftptest::FtpTestServer m_ftp;
    std::string m_state;
};

}  // namespace testsupport

#endif  // TEST_SUPPORT_FTP_AND_DISK_TEST_H
