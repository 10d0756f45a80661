#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace LumTests {

/// One line of a chart: its name, its colour and its values, one for each point of time.
struct ChartLine {
    std::string name;
    std::string color;
    std::vector<double> values;
};

/// One panel: lines that share a scale.
struct ChartPanel {
    std::string title;
    std::vector<ChartLine> lines;
};

/// An SVG picture of the panels, one below the other, over the same time in seconds. Names and titles hold no markup.
std::string drawLineChart(const std::string& title, const std::vector<double>& seconds,
                          const std::vector<ChartPanel>& panels);

} // namespace LumTests
