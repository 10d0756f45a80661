#pragma once

#include <filesystem>
#include <string>

namespace LumBench {

/// What the command line of a benchmark says.
struct BenchOptions {
    /// Where the results are written.
    std::filesystem::path outputFolder = "build/bench";

    /// Fewer and shorter rounds, for a first look.
    bool isQuick = false;

    /// Only the cases, and only the peers, whose name contains the text.
    std::string caseFilter;
    std::string peerFilter;

    bool WantsCase(const std::string& name) const { return name.find(caseFilter) != std::string::npos; }
    bool WantsPeer(const std::string& name) const { return name.find(peerFilter) != std::string::npos; }
};

/// Throws std::invalid_argument, with a text for the user, if the command line is not understood.
BenchOptions ParseBenchOptions(int count, const char* const* arguments);

} // namespace LumBench
