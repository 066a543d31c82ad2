#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>

#include "fleet/fleet.h"

namespace wrenfall::fleet {
namespace {

constexpr int kWidth = 760;
constexpr int kPanelHeight = 210;
constexpr int kLeft = 70;
constexpr int kPlotWidth = 660;
constexpr int kPlotTop = 40;
constexpr int kPlotHeight = 130;
constexpr double kHighest = 6;  // 10^6 requests a second
constexpr const char* kColours[] = {"#1b6ac9", "#d1495b", "#6a994e"};

double height_of(double requests) {
  return requests < 1 ? 0 : std::min(1.0, std::log10(requests) / kHighest) * kPlotHeight;
}

// A point for each of the plot's columns: the busiest second in it.
std::string points(const Run& run, int64_t seconds, int bottom) {
  std::ostringstream text;
  const auto known = static_cast<int64_t>(run.requests.size());
  for (int column = 0; column < kPlotWidth; ++column) {
    const int64_t begin = seconds * column / kPlotWidth;
    const int64_t end = std::max(begin + 1, seconds * (column + 1) / kPlotWidth);
    int32_t busiest = 0;
    for (int64_t second = begin; second < std::min(end, known); ++second) {
      busiest = std::max(busiest, run.requests[static_cast<size_t>(second)]);
    }
    text << kLeft + column << ',' << std::lround(bottom - height_of(busiest)) << ' ';
  }
  return text.str();
}

void draw(std::ostream& out, const Panel& panel, int top) {
  const int bottom = top + kPlotTop + kPlotHeight;
  out << "<text x='" << kLeft << "' y='" << top + 18 << "' font-weight='bold'>" << panel.title
      << "</text>\n";
  for (int power = 0; power <= static_cast<int>(kHighest); power += 2) {
    const auto y = std::lround(bottom - height_of(std::pow(10.0, power)));
    out << "<line x1='" << kLeft << "' x2='" << kLeft + kPlotWidth << "' y1='" << y << "' y2='" << y
        << "' stroke='#ddd'/><text x='" << kLeft - 6 << "' y='" << y + 4 << "' text-anchor='end'>1e"
        << power << "</text>\n";
  }
  const int64_t hours = panel.seconds / 3600;
  const int64_t step = std::max<int64_t>(1, hours / 6);
  for (int64_t hour = 0; hour <= hours; hour += step) {
    out << "<text x='" << kLeft + hour * 3600 * kPlotWidth / panel.seconds << "' y='" << bottom + 16
        << "' text-anchor='middle'>" << hour << " h</text>\n";
  }
  size_t number = 0;
  int legend = kLeft;
  for (const auto& [name, run] : panel.runs) {
    const char* const colour = kColours[number++ % 3];
    out << "<polyline fill='none' stroke='" << colour << "' points='"
        << points(*run, panel.seconds, bottom) << "'/>\n<text x='" << legend << "' y='" << top + 34
        << "' fill='" << colour << "'>" << name << "</text>\n";
    legend += 220;
  }
}

}  // namespace

bool write_picture(const std::string& path, const std::vector<Panel>& panels) {
  std::ofstream out(path, std::ios::binary);
  out << "<svg xmlns='http://www.w3.org/2000/svg' width='" << kWidth << "' height='"
      << kPanelHeight * static_cast<int>(panels.size())
      << "' font-family='sans-serif' font-size='12'>\n"
      << "<rect width='100%' height='100%' fill='white'/>\n";
  int top = 0;
  for (const Panel& panel : panels) {
    draw(out, panel, top);
    top += kPanelHeight;
  }
  out << "</svg>\n";
  return out.good();
}

}  // namespace wrenfall::fleet
