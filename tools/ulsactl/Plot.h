// Plot: a picture of a sample file, power against frequency, drawn by gnuplot.
#ifndef ULSACTL_PLOT_H
#define ULSACTL_PLOT_H

#include <string>

namespace ulsactl {

/// Reads the sample file at `file` (the radio unit's format, as the FTP server got it)
/// and writes a PNG of its spectrum to `png`: power in dBm against frequency in MHz,
/// the lower quartile of the bins drawn as the noise floor, and the sweep's parameters in the
/// title. An empty string on success, else a sentence saying what failed.
std::string plotSampleFile(const std::string& file, const std::string& png,
                           const std::string& gnuplot = "gnuplot");

}  // namespace ulsactl

#endif  // ULSACTL_PLOT_H
