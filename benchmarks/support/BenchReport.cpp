#include "support/BenchReport.h"

#include "support/BarChart.h"
#include "support/Median.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <stdexcept>

namespace LumBench {

namespace {

constexpr double kRatioOfNothing = 10;

using Line = std::vector<std::string>;

std::string fixed(double value, int decimals)
{
    std::ostringstream text;
    text << std::fixed << std::setprecision(decimals) << value;
    return text.str();
}

Line tableLine(const BenchRow& row)
{
    return {row.caseName,
            row.peer,
            row.unit,
            FormatNumber(row.ours),
            FormatNumber(row.theirs),
            row.RatioText(),
            row.spread ? fixed(row.spread->lowest, 2) : "-",
            row.spread ? fixed(row.spread->median, 2) : "-",
            row.spread ? fixed(row.spread->highest, 2) : "-",
            row.goal ? fixed(*row.goal, 2) : "-",
            row.goal ? (row.IsMet() ? "yes" : "NO") : "-"};
}

std::vector<std::size_t> columnWidths(const std::vector<Line>& lines)
{
    std::vector<std::size_t> widths(lines.front().size());
    for (const Line& line : lines) {
        for (std::size_t column = 0; column < line.size(); ++column) {
            widths[column] = std::max(widths[column], line[column].size());
        }
    }
    return widths;
}

void printLine(std::ostream& output, const Line& line, const std::vector<std::size_t>& widths)
{
    constexpr std::size_t kTextColumns = 3;
    for (std::size_t column = 0; column < line.size(); ++column) {
        output << (column == 0 ? "" : "  ") << (column < kTextColumns ? std::left : std::right)
               << std::setw(static_cast<int>(widths[column])) << line[column];
    }
    output << '\n';
}

void writeFile(const std::filesystem::path& path, const std::string& content)
{
    std::ofstream file(path, std::ios::binary);
    file << content;
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

/// Four digits after the point are more than the measurement is good for.
double rounded(double value)
{
    constexpr double kScale = 10000;
    return std::round(value * kScale) / kScale;
}

double moreIsBetter(double ours, double theirs)
{
    return theirs > 0 ? ours / theirs : 0;
}

double lessIsBetter(double ours, double theirs)
{
    return ours > 0 ? theirs / ours : kRatioOfNothing;
}

BenchSpread spreadOf(const std::vector<double>& ours, const std::vector<double>& theirs,
                     double (*ratioOf)(double ours, double theirs))
{
    std::vector<double> ratios;
    for (std::size_t round = 0; round < std::min(ours.size(), theirs.size()); ++round) {
        ratios.push_back(ratioOf(ours[round], theirs[round]));
    }
    if (ratios.empty()) {
        return {};
    }
    const auto [lowest, highest] = std::minmax_element(ratios.begin(), ratios.end());
    return {*lowest, Median(ratios), *highest};
}

} // namespace

std::string FormatNumber(double value)
{
    if (value == 0 || value >= 1000) {
        return fixed(value, 0);
    }
    if (value >= 100) {
        return fixed(value, 1);
    }
    return fixed(value, value >= 1 ? 2 : 5);
}

std::string BenchRow::RatioText() const
{
    return (isAtLeast ? ">" : "") + fixed(ratio, 2);
}

void BenchReport::AddMoreIsBetter(const std::string& caseName, const std::string& peer, const std::string& unit,
                                  double ours, double theirs, std::optional<double> goal)
{
    rows.push_back({caseName, peer, unit, ours, theirs, moreIsBetter(ours, theirs), false, goal, std::nullopt});
}

void BenchReport::AddLessIsBetter(const std::string& caseName, const std::string& peer, const std::string& unit,
                                  double ours, double theirs, std::optional<double> goal)
{
    rows.push_back({caseName, peer, unit, ours, theirs, lessIsBetter(ours, theirs), ours <= 0, goal, std::nullopt});
}

void BenchReport::AddMoreIsBetter(const std::string& caseName, const std::string& peer, const std::string& unit,
                                  const std::vector<double>& ours, const std::vector<double>& theirs,
                                  std::optional<double> goal)
{
    AddMoreIsBetter(caseName, peer, unit, Median(ours), Median(theirs), goal);
    rows.back().spread = spreadOf(ours, theirs, moreIsBetter);
}

void BenchReport::AddLessIsBetter(const std::string& caseName, const std::string& peer, const std::string& unit,
                                  const std::vector<double>& ours, const std::vector<double>& theirs,
                                  std::optional<double> goal)
{
    AddLessIsBetter(caseName, peer, unit, Median(ours), Median(theirs), goal);
    rows.back().spread = spreadOf(ours, theirs, lessIsBetter);
}

void BenchReport::AddLimit(const std::string& caseName, const std::string& limitName, const std::string& unit,
                           double ours, const std::vector<double>& rounds, double limit)
{
    AddLessIsBetter(caseName, limitName, unit, ours, limit, 1);
    rows.back().spread = spreadOf(rounds, std::vector<double>(rounds.size(), limit), lessIsBetter);
}

void BenchReport::PrintTable(std::ostream& output) const
{
    std::vector<Line> lines{{"case", "peer", "unit", "ours", "theirs", "ratio", "min", "median", "max", "goal", "met"}};
    std::transform(rows.begin(), rows.end(), std::back_inserter(lines), tableLine);
    const std::vector<std::size_t> widths = columnWidths(lines);
    const std::string* lastCase = nullptr;
    for (const Line& line : lines) {
        if (lastCase == nullptr || *lastCase != line.front()) {
            output << (lastCase == nullptr ? "" : "\n");
        }
        printLine(output, line, widths);
        lastCase = &line.front();
    }
    const auto goals =
        std::count_if(rows.begin(), rows.end(), [](const BenchRow& row) { return row.goal.has_value(); });
    const auto missed = std::count_if(rows.begin(), rows.end(), [](const BenchRow& row) { return !row.IsMet(); });
    output << "\n" << goals - missed << " of " << goals << " goals met\n";
}

void BenchReport::WriteFiles(const std::filesystem::path& folder) const
{
    std::filesystem::create_directories(folder);
    writeFile(folder / (name + ".json"), Json());
    writeFile(folder / (name + ".svg"), DrawBarChart(*this));
}

std::string BenchReport::Json() const
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const BenchRow& row : rows) {
        nlohmann::ordered_json entry{{"case", row.caseName},
                                     {"peer", row.peer},
                                     {"unit", row.unit},
                                     {"ours", rounded(row.ours)},
                                     {"theirs", rounded(row.theirs)},
                                     {"ratio", rounded(row.ratio)}};
        entry["goal"] = row.goal ? nlohmann::ordered_json(*row.goal) : nlohmann::ordered_json(nullptr);
        if (row.spread) {
            entry["ratioMin"] = rounded(row.spread->lowest);
            entry["ratioMedian"] = rounded(row.spread->median);
            entry["ratioMax"] = rounded(row.spread->highest);
        }
        list.push_back(std::move(entry));
    }
    return list.dump(2) + "\n";
}

} // namespace LumBench
