#include "soak/networking/LineChart.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <sstream>

namespace LumTests {

namespace {

constexpr double kWidth = 1000;
constexpr double kLeft = 70;
constexpr double kRight = 30;
constexpr double kTop = 50;
constexpr double kPanelHeight = 190;
constexpr double kPanelGap = 70;
constexpr int kGridLines = 4;

/// The next larger number of those that people divide by.
double roundUp(double value)
{
    const double power = std::pow(10, std::floor(std::log10(std::max(value, 1.0))));
    for (const double step : {1.0, 2.0, 4.0, 5.0, 10.0}) {
        if (step * power >= value) {
            return step * power;
        }
    }
    return value;
}

class LineChartWriter {
public:
    explicit LineChartWriter(const std::vector<double>& newSeconds)
        : seconds(newSeconds), end(seconds.empty() ? 1 : std::max(seconds.back(), 1.0))
    {
        svg << std::fixed << std::setprecision(1);
    }

    std::string Draw(const std::string& title, const std::vector<ChartPanel>& panels)
    {
        const double height = kTop + static_cast<double>(panels.size()) * (kPanelHeight + kPanelGap);
        svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << kWidth << "\" height=\"" << height
            << "\" font-family=\"sans-serif\" font-size=\"12\" fill=\"#222\">\n"
            << "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n";
        Text(16, 26, "font-size=\"18\" font-weight=\"bold\"", title);
        double top = kTop + 20;
        for (const ChartPanel& panel : panels) {
            DrawPanel(panel, top);
            top += kPanelHeight + kPanelGap;
        }
        svg << "</svg>\n";
        return svg.str();
    }

private:
    static double X(double share) { return kLeft + share * (kWidth - kLeft - kRight); }

    void Text(double x, double y, const std::string& attributes, const std::string& text)
    {
        svg << "<text x=\"" << x << "\" y=\"" << y << "\" " << attributes << '>' << text << "</text>\n";
    }

    void DrawPanel(const ChartPanel& panel, double top)
    {
        double highest = 1;
        for (const ChartLine& line : panel.lines) {
            for (const double value : line.values) {
                highest = std::max(highest, value);
            }
        }
        highest = roundUp(highest);
        Text(kLeft, top - 8, "font-weight=\"bold\"", panel.title);
        DrawGrid(top, highest);
        double legend = kWidth / 2;
        for (const ChartLine& line : panel.lines) {
            Text(legend, top - 8, "fill=\"" + line.color + "\"", line.name);
            legend += kWidth / 8;
            DrawLine(line, top, highest);
        }
    }

    void DrawGrid(double top, double highest)
    {
        for (int index = 0; index <= kGridLines; ++index) {
            const double share = static_cast<double>(index) / kGridLines;
            const double y = top + kPanelHeight * (1 - share);
            svg << "<line x1=\"" << X(0) << "\" y1=\"" << y << "\" x2=\"" << X(1) << "\" y2=\"" << y
                << "\" stroke=\"#ddd\"/>\n";
            Text(kLeft - 8, y + 4, "text-anchor=\"end\" fill=\"#555\"", Number(highest * share));
            Text(X(share), top + kPanelHeight + 18, "text-anchor=\"middle\" fill=\"#555\"", Number(end * share) + " s");
        }
    }

    static std::string Number(double value)
    {
        std::ostringstream text;
        text << std::fixed << std::setprecision(value < 10 && value != 0 ? 1 : 0) << value;
        return text.str();
    }

    void DrawLine(const ChartLine& line, double top, double highest)
    {
        svg << "<polyline fill=\"none\" stroke-width=\"1.5\" stroke=\"" << line.color << "\" points=\"";
        for (std::size_t index = 0; index < std::min(seconds.size(), line.values.size()); ++index) {
            svg << X(seconds[index] / end) << ',' << top + kPanelHeight * (1 - line.values[index] / highest) << ' ';
        }
        svg << "\"/>\n";
    }

    const std::vector<double>& seconds;
    const double end;
    std::ostringstream svg;
};

} // namespace

std::string drawLineChart(const std::string& title, const std::vector<double>& seconds,
                          const std::vector<ChartPanel>& panels)
{
    return LineChartWriter(seconds).Draw(title, panels);
}

} // namespace LumTests
