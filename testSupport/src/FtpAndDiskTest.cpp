#include "FtpAndDiskTest.h"

#include "hostDisk.h"
#include "oseHost.h"

#include <cstdlib>
#include <filesystem>

namespace testsupport {

void FtpAndDiskTest::SetUp() {
    std::string whyNot;
    ASSERT_TRUE(m_ftp.start(m_user, m_password, whyNot)) << whyNot;
    std::string pattern = "/tmp/" + m_prefix + "-XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    m_state = pattern;
    ASSERT_TRUE(hostdisk::setDiskRoot(m_state, whyNot)) << whyNot;
}

void FtpAndDiskTest::TearDown() {
    ose_shutdown();
    hostdisk::clearDiskRoot();
    std::filesystem::remove_all(m_state);
}

}  // namespace testsupport
