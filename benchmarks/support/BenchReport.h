#pragma once

#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace LumBench {

/// One comparison. A ratio above 1 means that ours is better, whatever the unit.
struct BenchRow {
    std::string caseName;
    std::string peer;
    std::string unit;
    double ours = 0;
    double theirs = 0;
    double ratio = 0;

    /// Ours was too small to be measured, so the ratio is only known to be at least that.
    bool isAtLeast = false;

    /// The ratio to reach; a row without one only informs.
    std::optional<double> goal;

    bool IsMet() const { return !goal || ratio >= *goal; }

    /// The ratio as people read it.
    std::string RatioText() const;
};

/// The rows of one benchmark, in the order in which they were added.
class BenchReport {
public:
    explicit BenchReport(std::string newName) : name(std::move(newName)) {}

    /// A unit of which more is better.
    void AddMoreIsBetter(const std::string& caseName, const std::string& peer, const std::string& unit, double ours,
                         double theirs, std::optional<double> goal);

    /// A unit of which less is better. Of nothing at all the ratio is at least 10.
    void AddLessIsBetter(const std::string& caseName, const std::string& peer, const std::string& unit, double ours,
                         double theirs, std::optional<double> goal);

    const std::string& Name() const { return name; }
    const std::vector<BenchRow>& Rows() const { return rows; }

    void PrintTable(std::ostream& output) const;

    /// Writes NAME.json and NAME.svg into the folder, which is created. Throws std::runtime_error if that fails.
    void WriteFiles(const std::filesystem::path& folder) const;

private:
    std::string Json() const;

    std::string name;
    std::vector<BenchRow> rows;
};

/// The number with about four digits, as people read it.
std::string FormatNumber(double value);

} // namespace LumBench
