#include "bench/table/Plot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <iomanip>
#include <limits>
#include <sstream>
#include <stdexcept>

namespace Routing::Bench {

namespace {

constexpr double left = 70;
constexpr double right = 600;
constexpr double top = 40;
constexpr double bottom = 300;
constexpr std::array colours{"#1b6ca8", "#c0392b", "#27793f", "#8e44ad"};

// From one power of ten to another.
struct Axis {
  int first;
  int last;
  double start;
  double end;

  double at(double value) const {
    return start + (std::log10(value) - first) / (last - first) * (end - start);
  }
};

Axis axisOver(double least, double most, double start, double end) {
  const int first = static_cast<int>(std::floor(std::log10(least) + 1e-9));
  const int last = static_cast<int>(std::ceil(std::log10(most) - 1e-9));
  return {first, std::max(last, first + 1), start, end};
}

std::string sizeLabel(int power) {
  std::string digits = "1" + std::string(static_cast<std::size_t>(power), '0');
  for (int i = static_cast<int>(digits.size()) - 3; i > 0; i -= 3) {
    digits.insert(static_cast<std::size_t>(i), ",");
  }
  return digits;
}

std::string timeLabel(int power) {
  constexpr std::array units{"ns", "us", "ms", "s"};
  const int nanoseconds = power + 9;
  return sizeLabel(nanoseconds % 3) + " " + units.at(static_cast<std::size_t>(nanoseconds / 3));
}

void drawText(std::ostream& svg, double x, double y, const char* anchor, const std::string& text) {
  svg << "<text x=\"" << x << "\" y=\"" << y << "\" text-anchor=\"" << anchor << "\">" << text
      << "</text>\n";
}

void drawGrid(std::ostream& svg, const Axis& sizes, const Axis& times) {
  for (int power = sizes.first; power <= sizes.last; ++power) {
    const double x = sizes.at(std::pow(10, power));
    svg << "<line x1=\"" << x << "\" y1=\"" << top << "\" x2=\"" << x << "\" y2=\"" << bottom
        << "\" stroke=\"#ddd\"/>\n";
    drawText(svg, x, bottom + 18, "middle", sizeLabel(power));
  }
  for (int power = times.first; power <= times.last; ++power) {
    const double y = times.at(std::pow(10, power));
    svg << "<line x1=\"" << left << "\" y1=\"" << y << "\" x2=\"" << right << "\" y2=\"" << y
        << "\" stroke=\"#ddd\"/>\n";
    drawText(svg, left - 6, y + 4, "end", timeLabel(power));
  }
}

void drawSeries(std::ostream& svg,
                const Axis& sizes,
                const Axis& times,
                const Series& series,
                std::size_t number) {
  const char* const colour = colours.at(number % colours.size());
  svg << R"(<polyline fill="none" stroke=")" << colour << R"(" stroke-width="2" points=")";
  for (const auto& [size, seconds] : series.points) {
    svg << sizes.at(size) << ',' << times.at(seconds) << ' ';
  }
  svg << "\"/>\n";
  for (const auto& [size, seconds] : series.points) {
    svg << "<circle cx=\"" << sizes.at(size) << "\" cy=\"" << times.at(seconds)
        << R"(" r="3" fill=")" << colour << "\"/>\n";
  }
  svg << "<g fill=\"" << colour << "\">\n";
  drawText(svg, right + 12, top + 14 + 20 * static_cast<double>(number), "start", series.name);
  svg << "</g>\n";
}

}  // namespace

void writePlot(const std::string& file,
               const std::string& title,
               const std::string& sizeName,
               const std::vector<Series>& series) {
  constexpr double most = std::numeric_limits<double>::max();
  std::array<double, 4> range{most, 0, most, 0};
  for (const Series& each : series) {
    for (const auto& [size, seconds] : each.points) {
      range = {std::min(range[0], size),
               std::max(range[1], size),
               std::min(range[2], seconds),
               std::max(range[3], seconds)};
    }
  }
  const Axis sizes = axisOver(range[0], range[1], left, right);
  const Axis times = axisOver(range[2], range[3], bottom, top);
  std::ostringstream svg;
  svg << std::fixed << std::setprecision(1)
      << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 860 350\" "
         "font-family=\"sans-serif\" font-size=\"12\">\n"
         "<rect width=\"860\" height=\"350\" fill=\"white\"/>\n";
  drawText(svg, left, 24, "start", title);
  drawText(svg, (left + right) / 2, bottom + 40, "middle", sizeName);
  drawGrid(svg, sizes, times);
  for (std::size_t i = 0; i < series.size(); ++i) {
    drawSeries(svg, sizes, times, series[i], i);
  }
  svg << "</svg>\n";
  std::ofstream output(file);
  output << svg.str();
  output.close();
  if (!output) {
    throw std::runtime_error(file + " cannot be written");
  }
}

}  // namespace Routing::Bench
