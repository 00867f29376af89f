// The zlib and Base64 steps checked against an independent implementation:
// Python's zlib and base64 modules, run as a program of their own.
#include "base64.h"
#include "zip.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

using namespace applsupp::comm;

namespace {

const char kPython[] = "/usr/bin/python3";

// Base64 text in, the inflated text out.
const char kPythonUnzip[] =
    "import sys, zlib, base64\n"
    "data = open(sys.argv[1], \"rb\").read()\n"
    "open(sys.argv[2], \"wb\").write(zlib.decompress(base64.b64decode(data, validate=True)))\n";

// Text in, a level-6 stream in Base64 with a line break every 76 characters out.
const char kPythonZip[] =
    "import sys, zlib, base64\n"
    "data = open(sys.argv[1], \"rb\").read()\n"
    "open(sys.argv[2], \"wb\").write(base64.encodebytes(zlib.compress(data, 6)))\n";

std::string readFile(const std::string& path) {
    std::string content;
    if (FILE* file = std::fopen(path.c_str(), "rb")) {
        char buffer[4096];
        for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, file)) > 0;) {
            content.append(buffer, n);
        }
        std::fclose(file);
    }
    return content;
}

class ZipPythonTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (access(kPython, X_OK) != 0) {
            GTEST_SKIP() << kPython << " is not installed";
        }
        char pattern[] = "/tmp/ulsa-zip-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        m_dir = pattern;
    }

    void TearDown() override {
        if (!m_dir.empty()) {
            std::remove((m_dir + "/in").c_str());
            std::remove((m_dir + "/out").c_str());
            rmdir(m_dir.c_str());
        }
    }

    // Runs program on the file "in" holding input; returns what it wrote to "out".
    std::string runPython(const char* program, const std::string& input) {
        FILE* in = std::fopen((m_dir + "/in").c_str(), "wb");
        EXPECT_NE(in, nullptr);
        if (in == nullptr) {
            return {};
        }
        std::fwrite(input.data(), 1, input.size(), in);
        std::fclose(in);
        const std::string command =
            std::string(kPython) + " -c '" + program + "' " + m_dir + "/in " + m_dir + "/out 2>&1";
        FILE* pipe = popen(command.c_str(), "r");
        EXPECT_NE(pipe, nullptr);
        if (pipe == nullptr) {
            return {};
        }
        std::string messages;
        char buffer[256];
        while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) {
            messages += buffer;
        }
        EXPECT_EQ(pclose(pipe), 0) << messages;
        return readFile(m_dir + "/out");
    }

    std::string m_dir;
};

// 100 KB of XML, nothing, binary bytes with a NUL, and text with a line break and UTF-8.
std::vector<std::string> samples() {
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><ActionResult>";
    std::string binary;
    uint32_t seed = 7;
    while (xml.size() < 100 * 1024) {
        seed = seed * 1664525u + 1013904223u;
        xml += "<attr name=\"c" + std::to_string(seed % 101) + "\">" + std::to_string(seed) +
               "</attr>";
        if (binary.size() < 3000) {
            binary.push_back(static_cast<char>(seed >> 24));
        }
    }
    binary[10] = '\0';
    return {xml, std::string(), binary, "one line\nand \xC3\xA9 another\n"};
}

}  // namespace

TEST_F(ZipPythonTest, pythonReadsWhatWeZipAndEncode) {
    for (const std::string& text : samples()) {
        std::vector<unsigned char> bytes;
        ASSERT_TRUE(zip(text, bytes));
        std::string encoded;
        encode(bytes, encoded);
        EXPECT_EQ(runPython(kPythonUnzip, encoded), text) << "text of " << text.size() << " bytes";
    }
}

TEST_F(ZipPythonTest, weReadWhatPythonZipsAndEncodesWithLineBreaks) {
    for (const std::string& text : samples()) {
        const std::string encoded = runPython(kPythonZip, text);
        ASSERT_NE(encoded.find('\n'), std::string::npos);
        std::vector<unsigned char> bytes;
        ASSERT_TRUE(decode(encoded, bytes));
        std::string back;
        ASSERT_TRUE(unzip(bytes, back)) << "text of " << text.size() << " bytes";
        EXPECT_EQ(back, text);
    }
}
