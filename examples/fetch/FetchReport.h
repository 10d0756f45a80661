#pragma once

#include "FetchJob.h"
#include "FetchOutcome.h"
#include "RecordingLogger.h"

#include <ostream>
#include <vector>

namespace LumFetch {

/// Tells a person what came of the requests.
class FetchReport {
public:
    FetchReport(const std::vector<FetchJob>& newJobs, const std::vector<FetchOutcome>& newOutcomes);

    bool IsAllAsExpected() const;

    void PrintOutcomes(std::ostream& output) const;
    void PrintSummary(std::ostream& output, double seconds) const;

private:
    const std::vector<FetchJob>& jobs;
    const std::vector<FetchOutcome>& outcomes;
    std::vector<Verdict> verdicts;
};

void PrintLogRecords(std::ostream& output, const std::vector<LogRecord>& records);

} // namespace LumFetch
