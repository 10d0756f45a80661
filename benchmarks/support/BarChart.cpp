#include "support/BarChart.h"

#include <algorithm>
#include <ctime>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <thread>

namespace LumBench {

namespace {

constexpr int kWidth = 1180;
constexpr int kLabelWidth = 430;
constexpr int kValueWidth = 270;
constexpr int kTop = 96;
constexpr int kRowHeight = 20;
constexpr int kBarHeight = 13;
constexpr int kCaseHeight = 30;
constexpr int kBottom = 24;
constexpr double kLongestRatio = 2.5;

constexpr const char* kMetColor = "#2e7d4f";
constexpr const char* kMissedColor = "#c0392b";
constexpr const char* kInformingColor = "#8fa3b8";
constexpr const char* kSpreadColor = "#1b2631";

std::string escaped(const std::string& text)
{
    std::string result;
    for (const char character : text) {
        switch (character) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        default:
            result += character;
        }
    }
    return result;
}

/// The processor's name, as the system tells it.
std::string processorName()
{
    std::ifstream facts("/proc/cpuinfo");
    for (std::string line; std::getline(facts, line);) {
        const std::size_t colon = line.find(": ");
        if (line.rfind("model name", 0) == 0 && colon != std::string::npos) {
            return line.substr(colon + 2);
        }
    }
    return "an unknown processor";
}

/// Where and when it was measured.
std::string circumstances()
{
    const std::time_t now = std::time(nullptr);
    std::ostringstream text;
    text << processorName() << ", " << std::thread::hardware_concurrency() << " of its threads; "
         << std::put_time(std::gmtime(&now), "%Y-%m-%d");
    return text.str();
}

double xOf(double ratio)
{
    constexpr double kScale = (kWidth - kLabelWidth - kValueWidth) / kLongestRatio;
    return kLabelWidth + std::min(ratio, kLongestRatio) * kScale;
}

const char* colorOf(const BenchRow& row)
{
    if (!row.goal) {
        return kInformingColor;
    }
    return row.IsMet() ? kMetColor : kMissedColor;
}

/// Writes the elements of one picture from top to bottom.
class BarChartWriter {
public:
    explicit BarChartWriter(const BenchReport& newReport) : report(newReport) { svg << std::fixed; }

    std::string Draw()
    {
        const int height = Height();
        svg << std::setprecision(1) << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << kWidth << "\" height=\""
            << height << "\" viewBox=\"0 0 " << kWidth << ' ' << height
            << "\" font-family=\"sans-serif\" font-size=\"12\" fill=\"#222\">\n"
            << "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n";
        DrawTitle();
        DrawLegend();
        DrawAxis(height);
        DrawRows();
        svg << "</svg>\n";
        return svg.str();
    }

private:
    bool BeginsCase(std::size_t index) const
    {
        const auto& rows = report.Rows();
        return index == 0 || rows[index - 1].caseName != rows[index].caseName;
    }

    int Height() const
    {
        int height = kTop + kBottom;
        for (std::size_t index = 0; index < report.Rows().size(); ++index) {
            height += kRowHeight + (BeginsCase(index) ? kCaseHeight : 0);
        }
        return height;
    }

    void Text(double x, double y, const std::string& attributes, const std::string& text)
    {
        svg << "<text x=\"" << x << "\" y=\"" << y << "\" " << attributes << '>' << escaped(text) << "</text>\n";
    }

    void Box(double x, double y, double width, double height, const char* color)
    {
        svg << "<rect x=\"" << x << "\" y=\"" << y << "\" width=\"" << width << "\" height=\"" << height << "\" fill=\""
            << color << "\"/>\n";
    }

    void DrawTitle()
    {
        Text(16, 28, "font-size=\"18\" font-weight=\"bold\"", "Benchmark \"" + report.Name() + "\"");
        Text(16, 48, "fill=\"#555\"",
             "Ratio to the peer (ours / theirs), measured in the same run; longer is better, 1 is equal. " +
                 circumstances());
    }

    void DrawLegend()
    {
        double x = 16;
        const std::pair<const char*, const char*> entries[] = {
            {kMetColor, "goal met"}, {kMissedColor, "goal missed"}, {kInformingColor, "informs only"}};
        for (const auto& [color, text] : entries) {
            Box(x, 60, 12, 12, color);
            Text(x + 18, 70, "", text);
            x += 110;
        }
        Box(x + 4, 58, 2.5, 16, "#000");
        Text(x + 14, 70, "", "goal");
        DrawWhisker(x + 70, x + 100, 59.5);
        Text(x + 110, 70, "", "lowest to highest round");
    }

    /// A line with ends, over a bar of the usual height.
    void DrawWhisker(double left, double right, double y)
    {
        Box(left, y + kBarHeight / 2.0 - 0.5, right - left, 1, kSpreadColor);
        for (const double end : {left, right}) {
            Box(end - 0.5, y + 3, 1, kBarHeight - 6, kSpreadColor);
        }
    }

    void DrawAxis(int height)
    {
        for (double ratio = 0; ratio <= kLongestRatio; ratio += 0.5) {
            const double x = xOf(ratio);
            std::ostringstream label;
            label << std::fixed << std::setprecision(1) << ratio;
            svg << "<line x1=\"" << x << "\" y1=\"" << kTop << "\" x2=\"" << x << "\" y2=\"" << height - kBottom
                << "\" stroke=\"" << (ratio == 1 ? "#888" : "#ddd") << "\"/>\n";
            Text(x, kTop - 6, "text-anchor=\"middle\" fill=\"#555\"", label.str());
        }
    }

    void DrawRows()
    {
        double y = kTop;
        for (std::size_t index = 0; index < report.Rows().size(); ++index) {
            const BenchRow& row = report.Rows()[index];
            if (BeginsCase(index)) {
                y += kCaseHeight;
                Text(16, y - 8, "font-weight=\"bold\"", row.caseName);
            }
            DrawRow(row, y);
            y += kRowHeight;
        }
    }

    void DrawRow(const BenchRow& row, double y)
    {
        constexpr double kTextDrop = 11;
        Text(kLabelWidth - 10, y + kTextDrop, "text-anchor=\"end\"", row.unit + " / " + row.peer);
        Box(kLabelWidth, y, xOf(row.ratio) - kLabelWidth, kBarHeight, colorOf(row));
        if (row.spread) {
            DrawWhisker(xOf(row.spread->lowest), xOf(row.spread->highest), y);
        }
        if (row.goal) {
            Box(xOf(*row.goal) - 1.25, y - 2, 2.5, kBarHeight + 4, "#000");
        }
        std::ostringstream ratio;
        ratio << row.RatioText() << (row.ratio > kLongestRatio ? " \u2192" : "") << "  (" << FormatNumber(row.ours)
              << " / " << FormatNumber(row.theirs) << ')';
        const double end =
            std::max({xOf(row.ratio), row.goal ? xOf(*row.goal) : 0, row.spread ? xOf(row.spread->highest) : 0});
        Text(end + 8, y + kTextDrop, "", ratio.str());
    }

    const BenchReport& report;
    std::ostringstream svg;
};

} // namespace

std::string DrawBarChart(const BenchReport& report)
{
    return BarChartWriter(report).Draw();
}

} // namespace LumBench
