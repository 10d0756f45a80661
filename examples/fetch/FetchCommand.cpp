#include "FetchCommand.h"

#include "FetchReport.h"
#include "Fetcher.h"
#include "ProgressView.h"
#include "RecordingLogger.h"
#include "Terminal.h"

#include "Windows/networking/WinHttpClientAsync.h"

#include <iostream>

namespace LumFetch {

namespace {

constexpr std::chrono::milliseconds kRedrawInterval{100};

void watch(Fetcher& fetcher)
{
    ProgressView progress(std::cout, Terminal::OfStandardOutput(), fetcher.Jobs());
    bool isDone = false;
    while (!isDone) {
        progress.Show(fetcher.States());
        isDone = fetcher.WaitForNext(kRedrawInterval);
    }
    progress.Show(fetcher.States());
    progress.Clear();
}

} // namespace

bool RunFetches(std::vector<FetchJob> jobs)
{
    const auto logger = std::make_shared<RecordingLogger>();
    LumNetworking::WinHttpClientAsync client(logger);
    Fetcher fetcher(client, std::move(jobs));

    const auto start = std::chrono::steady_clock::now();
    fetcher.StartAll();
    watch(fetcher);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;

    const std::vector<FetchOutcome> outcomes = fetcher.TakeOutcomes();
    const FetchReport report(fetcher.Jobs(), outcomes);
    std::cout << '\n';
    report.PrintOutcomes(std::cout);
    std::cout << '\n';
    PrintLogRecords(std::cout, logger->Records());
    std::cout << '\n';
    report.PrintSummary(std::cout, elapsed.count());
    return report.IsAllAsExpected();
}

} // namespace LumFetch
