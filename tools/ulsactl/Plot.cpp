#include "Plot.h"

#include "sampleFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace ulsactl {

namespace {

// A sample file of 8 ports' worth of 65535 bins is far below this.
constexpr std::streamsize kLargestFile = 64 << 20;

const char* samplingTypeName(uint16_t type) {
    switch (type) {
        case 0: return "single sweep";
        case 1: return "continuous";
        case 2: return "conditional";
        default: return "unknown type";
    }
}

// A text inside a gnuplot string in single quotes, where only the quote itself is special.
std::string quoted(const std::string& text) {
    std::string out = "'";
    for (const char c : text) {
        if (c == '\'')
            out += "''";
        else if (static_cast<unsigned char>(c) >= 0x20)
            out += c;
    }
    return out + "'";
}

std::string baseName(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// A file of the caller's that is removed when it goes out of scope.
struct TempFile {
    std::string path;
    TempFile() {
        char name[] = "/tmp/ulsactl-plot-XXXXXX";
        const int fd = mkstemp(name);
        if (fd >= 0) {
            ::close(fd);
            path = name;
        }
    }
    ~TempFile() {
        if (!path.empty())
            std::remove(path.c_str());
    }
};

// Runs gnuplot on the script; an empty string when it drew, else why not.
std::string runGnuplot(const std::string& gnuplot, const std::string& script) {
    const pid_t child = fork();
    if (child < 0)
        return std::string("cannot start gnuplot: ") + std::strerror(errno);
    if (child == 0) {
        execlp(gnuplot.c_str(), gnuplot.c_str(), script.c_str(), static_cast<char*>(nullptr));
        std::fprintf(stderr, "ulsactl: cannot run %s: %s (install Debian's gnuplot-nox)\n",
                     gnuplot.c_str(), std::strerror(errno));
        _exit(127);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return gnuplot + " failed (exit status " + std::to_string(WEXITSTATUS(status)) + ")";
    return "";
}

}  // namespace

std::string plotSampleFile(const std::string& file, const std::string& png,
                           const std::string& gnuplot) {
    std::ifstream in(file, std::ios::binary);
    if (!in)
        return "cannot read " + file + ": " + std::strerror(errno);
    std::vector<uint8_t> bytes;
    bytes.resize(static_cast<std::size_t>(kLargestFile) + 1);
    in.read(reinterpret_cast<char*>(bytes.data()), kLargestFile + 1);
    bytes.resize(static_cast<std::size_t>(in.gcount()));
    hostradio::SampleFile sweep;
    if (bytes.size() > static_cast<std::size_t>(kLargestFile) ||
        !hostradio::decodeSampleFile(bytes.data(), bytes.size(), sweep))
        return file + " is not a sample file of the radio unit (header or size do not match)";

    TempFile data;
    TempFile script;
    if (data.path.empty() || script.path.empty())
        return std::string("cannot make a temporary file: ") + std::strerror(errno);
    {
        std::ofstream out(data.path);
        out.setf(std::ios::fixed);
        for (std::size_t i = 0; i < sweep.power.size(); ++i) {
            out.precision(4);
            out << sweep.binCenter(i) / 1000.0 << ' ';
            out.precision(1);
            out << sweep.power[i] / 10.0 << '\n';
        }
        if (!out)
            return "cannot write " + data.path;
    }
    std::vector<int16_t> sorted = sweep.power;
    // Carriers may cover half the band: the lower quartile of the bins is the floor's
    // typical level, where the median may sit on a carrier.
    std::nth_element(sorted.begin(), sorted.begin() + static_cast<long>(sorted.size() / 4),
                     sorted.end());
    const double floorDbm = sorted[sorted.size() / 4] / 10.0;
    const double startMhz = sweep.startFrequency / 1000.0;
    const double stopMhz = sweep.stopFrequency / 1000.0;
    const double binKhz = (sweep.stopFrequency - sweep.startFrequency) /
                          static_cast<double>(sweep.power.size());

    char title[512];
    std::snprintf(title, sizeof title,
                  "Uplink spectrum, RF port %c, %s: %.3f to %.3f MHz, %zu bins of %.3g kHz",
                  sweep.portId >= 1 && sweep.portId <= 26 ? 'A' + sweep.portId - 1 : '?',
                  samplingTypeName(sweep.samplingType), startMhz, stopMhz, sweep.power.size(),
                  binKhz);
    char floorLabel[64];
    std::snprintf(floorLabel, sizeof floorLabel, "noise floor (lower quartile) %.1f dBm", floorDbm);
    std::ostringstream text;
    text << "set terminal pngcairo size 1200,600 font 'sans,11'\n"
         << "set output " << quoted(png) << "\n"
         << "set title " << quoted(title) << " . \"\\n\" . " << quoted(baseName(file))
         << " noenhanced\n"
         << "set xlabel 'Frequency (MHz)'\n"
         << "set ylabel 'Power (dBm)'\n"
         << "set grid\n"
         << "set key top right\n"
         << "set xrange [" << startMhz << ":" << stopMhz << "]\n"
         << "plot " << quoted(data.path) << " using 1:2 with lines lw 1 lc rgb '#1f5fa8' title "
         << "'power per bin', " << floorDbm << " with lines dt 2 lw 2 lc rgb '#c03020' title "
         << quoted(floorLabel) << "\n";
    {
        std::ofstream out(script.path);
        out << text.str();
        if (!out)
            return "cannot write " + script.path;
    }
    return runGnuplot(gnuplot, script.path);
}

}  // namespace ulsactl
