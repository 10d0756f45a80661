#pragma once

#include "Fetcher.h"
#include "Terminal.h"

#include <optional>
#include <ostream>

namespace LumFetch {

/// Shows how far the requests are: on a terminal a line for each, redrawn in place; elsewhere, or if the terminal has
/// too few rows, a line whenever one ends and for every second that one waits.
class ProgressView {
public:
    ProgressView(std::ostream& newOutput, std::optional<Terminal> newTerminal, const std::vector<FetchJob>& newJobs);

    void Show(const std::vector<FetchState>& states);

    /// Takes a redrawn view off the terminal; what was written as plain lines stays.
    void Clear();

private:
    bool IsRedrawn() const;
    void Redraw(const std::vector<FetchState>& states);
    void WriteChanges(const std::vector<FetchState>& states);
    std::string Line(const FetchJob& job, const FetchState& state) const;

    std::ostream& output;
    const std::optional<Terminal> terminal;
    const std::vector<FetchJob>& jobs;
    std::size_t urlWidth = 0;
    std::size_t drawnLines = 0;
    std::size_t frame = 0;

    /// By job: the whole seconds of waiting that have been written, and whether its end has.
    std::vector<int> writtenSeconds;
    std::vector<bool> writtenEnd;
};

} // namespace LumFetch
