// The picture of a sample file as the FTP server received it.
#include "ProgramRun.h"
#include "radioUnitConfig.h"
#include "sampleFile.h"

#include <gtest/gtest.h>

#include <fstream>

namespace {

using namespace programrun;

TEST(Tools, plot_draws_a_sample_file_and_refuses_anything_else) {
    TempFolder folder;
    hostradio::SweepRequest request;
    request.centerFrequency = 1950000;
    request.displayedBandwidth = 60000;
    request.binCount = 4000;
    const hostradio::RadioUnitConfig config =
        hostradio::defaultRadioUnitConfig("ManagedElement=1,Equipment=1,AuxPlugInUnit=RU-1", "RU-1");
    const std::vector<uint8_t> bytes =
        hostradio::encodeSampleFile(hostradio::makeSweep(config.spectrum, request, 1));
    const std::string file = folder.path() + "/sweep.bin";
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    const std::string png = folder.path() + "/spectrum.png";

    Ran result = run(ulsactl({"plot", file, "-o", png}), folder.path(), std::chrono::seconds(30));
    ASSERT_EQ(result.code, 0) << result.err;
    const std::string picture = slurp(png);
    EXPECT_EQ(picture.substr(0, 8), std::string("\x89PNG\r\n\x1a\n", 8));
    EXPECT_GT(picture.size(), 20000u);  // a drawn spectrum, not an empty frame

    const std::string spoiled = folder.path() + "/spoiled.bin";
    std::ofstream(spoiled, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size() - 1));
    for (const std::string& bad : {spoiled, folder.path() + "/missing.bin"}) {
        result = run(ulsactl({"plot", bad, "-o", folder.path() + "/bad.png"}), folder.path());
        EXPECT_EQ(result.code, 1) << bad;
        EXPECT_NE(result.err.find(bad), std::string::npos) << result.err;
    }
}

}  // namespace
