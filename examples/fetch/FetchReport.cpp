#include "FetchReport.h"

#include "FetchFormat.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

namespace LumFetch {

namespace {

std::size_t headerCount(const LumNetworking::HttpResponse& response)
{
    std::size_t count = 0;
    for (const auto& [name, values] : response.headers) {
        count += values.size();
    }
    return count;
}

struct Line {
    std::string mark;
    std::string method;
    std::string status;
    std::string headers;
    std::string body;
    std::string time;
    std::string outcome;
    std::string url;
};

Line describe(const FetchJob& job, const FetchOutcome& outcome, const Verdict& verdict)
{
    Line line;
    line.mark = verdict.isAsExpected ? " " : "!";
    line.method = HttpMethodToString(job.method);
    line.status = outcome.response ? std::to_string(outcome.response->statusCode) : "-";
    line.headers = outcome.response ? std::to_string(headerCount(*outcome.response)) : "-";
    line.body = outcome.response ? FormatSize(outcome.response->body.size()) : "-";
    line.time = FormatTime(outcome.seconds);
    line.outcome = verdict.text;
    line.url = Printable(job.url);
    return line;
}

/// The URL comes last: it may be long.
void printLine(std::ostream& output, const Line& line, std::size_t outcomeWidth)
{
    constexpr std::size_t kMethod = 6;
    constexpr std::size_t kNumber = 7;
    constexpr std::size_t kBody = 10;
    constexpr std::size_t kTime = 8;
    output << line.mark << ' ' << AlignLeft(line.method, kMethod) << AlignRight(line.status, kNumber)
           << AlignRight(line.headers, kNumber + 1) << AlignRight(line.body, kBody) << AlignRight(line.time, kTime + 1)
           << "  " << AlignLeft(line.outcome, outcomeWidth) << "  " << line.url << '\n';
}

void printError(std::ostream& output, const LumUtils::ILumError& error)
{
    output << "         " << Printable(error.getDescription()) << '\n';
}

} // namespace

FetchReport::FetchReport(const std::vector<FetchJob>& newJobs, const std::vector<FetchOutcome>& newOutcomes)
    : jobs(newJobs), outcomes(newOutcomes)
{
    for (std::size_t index = 0; index < jobs.size(); ++index) {
        verdicts.push_back(jobs[index].expectation.Judge(outcomes[index]));
    }
}

bool FetchReport::IsAllAsExpected() const
{
    return std::all_of(verdicts.begin(), verdicts.end(), [](const Verdict& verdict) { return verdict.isAsExpected; });
}

void FetchReport::PrintOutcomes(std::ostream& output) const
{
    const Line titles{" ", "method", "status", "headers", "body", "time", "outcome", "URL"};
    std::size_t outcomeWidth = titles.outcome.size();
    for (const Verdict& verdict : verdicts) {
        outcomeWidth = std::max(outcomeWidth, verdict.text.size());
    }
    printLine(output, titles, outcomeWidth);
    for (std::size_t index = 0; index < jobs.size(); ++index) {
        printLine(output, describe(jobs[index], outcomes[index], verdicts[index]), outcomeWidth);
        if (outcomes[index].error) {
            printError(output, *outcomes[index].error);
        }
    }
}

void FetchReport::PrintSummary(std::ostream& output, double seconds) const
{
    std::size_t answered = 0;
    std::size_t bytes = 0;
    for (const FetchOutcome& outcome : outcomes) {
        if (outcome.response) {
            ++answered;
            bytes += outcome.response->body.size();
        }
    }
    const auto unexpected = static_cast<std::size_t>(
        std::count_if(verdicts.begin(), verdicts.end(), [](const Verdict& verdict) { return !verdict.isAsExpected; }));
    output << FormatCount(jobs.size(), "request") << " in " << FormatTime(seconds) << ": " << answered
           << " answered with " << FormatSize(bytes) << ", " << jobs.size() - answered << " failed; "
           << (unexpected == 0 ? "all as expected" : std::to_string(unexpected) + " NOT AS EXPECTED") << '\n';
}

void PrintLogRecords(std::ostream& output, const std::vector<LogRecord>& records)
{
    constexpr std::size_t kLevelWidth = 7;
    output << FormatCount(records.size(), "log record") << " received by the delegate\n";
    for (const LogRecord& record : records) {
        std::ostringstream time;
        time << std::fixed << std::setprecision(3) << record.seconds << " s";
        output << "  " << AlignRight(time.str(), kLevelWidth + 1) << "  "
               << AlignLeft(LogLevelName(record.level), kLevelWidth) << "  " << record.function << ':' << record.line
               << "  " << Printable(record.message) << '\n';
    }
}

} // namespace LumFetch
