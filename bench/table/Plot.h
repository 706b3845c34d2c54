#pragma once

// Plots of how cost grows with size, one SVG each: both axes logarithmic, so that what is flat
// looks flat and what is proportional is a straight slope.

#include <string>
#include <utility>
#include <vector>

namespace Routing::Bench {

struct Series {
  std::string name;
  // Size and seconds.
  std::vector<std::pair<double, double>> points;
};

// Requires: a point in every series. Throws: std::runtime_error when the file cannot be written.
void writePlot(const std::string& file,
               const std::string& title,
               const std::string& sizeName,
               const std::vector<Series>& series);

// Measures at several sizes and writes the plots into the folder.
void writePlots(const std::string& folder);

}  // namespace Routing::Bench
