// FtpAndDiskTest: a fixture for tests that upload: an FTP server on loopback with one
// user that may write, and the node's disk "/d" in a state folder of the test's own.
//
//   class MyTest : public testsupport::FtpAndDiskTest {
//     protected:
//       MyTest() : FtpAndDiskTest(kUser, kPassword, "ulsa-my") {}  // "/tmp/ulsa-my-XXXXXX"
//   };
//
// The including test links the kernel (ose). TearDown shuts the kernel down before the
// disk goes, as its processes use it.
#ifndef TEST_SUPPORT_FTP_AND_DISK_TEST_H
#define TEST_SUPPORT_FTP_AND_DISK_TEST_H

#include "FtpTestServer.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace testsupport {

class FtpAndDiskTest : public ::testing::Test {
  protected:
    FtpAndDiskTest(std::string user, std::string password, std::string folderPrefix)
        : m_user(std::move(user)), m_password(std::move(password)),
          m_prefix(std::move(folderPrefix)) {}

    void SetUp() override;
    void TearDown() override;

    ftptest::FtpTestServer m_ftp;
    std::string m_state;  // the node's state folder; its "d" is the disk

  private:
    std::string m_user;
    std::string m_password;
    std::string m_prefix;
};

}  // namespace testsupport

#endif  // TEST_SUPPORT_FTP_AND_DISK_TEST_H
