#pragma once

#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace LumBench {

/// The ratios of the single rounds. Two states of one program show in it, which a single figure would hide.
struct BenchSpread {
    double lowest = 0;
    double median = 0;
    double highest = 0;
};

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

    /// Nothing if the row was not measured in rounds.
    std::optional<BenchSpread> spread;

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

    /// The same for what was measured in rounds, in the same order by both: the numbers are the medians.
    void AddMoreIsBetter(const std::string& caseName, const std::string& peer, const std::string& unit,
                         const std::vector<double>& ours, const std::vector<double>& theirs,
                         std::optional<double> goal);
    void AddLessIsBetter(const std::string& caseName, const std::string& peer, const std::string& unit,
                         const std::vector<double>& ours, const std::vector<double>& theirs,
                         std::optional<double> goal);

    /// A limit that ours must not exceed: the goal is the ratio 1. `ours` is the figure that counts, such as the worst
    /// of the rounds.
    void AddLimit(const std::string& caseName, const std::string& limitName, const std::string& unit, double ours,
                  const std::vector<double>& rounds, double limit);

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
