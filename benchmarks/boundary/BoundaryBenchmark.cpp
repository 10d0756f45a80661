#include "Measurement.h"

#include "Windows/Cli/networking/socks/LumAsynchronousSocksHttpClient.h"
#include "Windows/Cli/utils/LumUtilsLoggerDelegateCliAdapter.h"
#include "Windows/Cli/utils/ManagedText.h"
#include "common/utils/LumLog.h"
#include "support/BenchReport.h"

#include <future>
#include <iostream>
#include <stdexcept>
#include <thread>

namespace {

using namespace LumBench;
using LumNetworking::HttpRequestResult;
using LumNetworking::HttpResponse;
using LumNetworking::LumAsynchronousSocksHttpClient;
using LumUtilsCli::ManagedReference;
using LumUtilsCli::ManagedText;

constexpr int kRounds = 9;
constexpr double kLimitOfRequest = 1.3;
constexpr std::size_t kBodySize = std::size_t{1} << 20U;

/// What the managed program hands over.
struct BenchHost {
    const LumCliHostTable* table;
    LumCliHandle client;
    LumCliHandle logger;
    /// The least that a call into managed code can be.
    void (*bareCall)();
    /// The least that a log record can be: three texts become strings.
    void (*bareLog)(const LumCliText* file, const LumCliText* function, const LumCliText* message);
};

class SilentLogger : public LumUtils::ILumUtilsLoggerDelegate {
public:
    void logFatal(const std::string&, const std::string&, const std::string&, unsigned int, ...) override {}
    void logError(const std::string&, const std::string&, const std::string&, unsigned int, ...) override {}
    void logWarning(const std::string&, const std::string&, const std::string&, unsigned int, ...) override {}
    void logInfo(const std::string&, const std::string&, const std::string&, unsigned int, ...) override {}
    void logVerbose(const std::string&, const std::string&, const std::string&, unsigned int, ...) override {}
    void logAOL(const std::string&, const std::string&, const std::string&, unsigned int, ...) override {}
};

/// Makes requests one after the other, each waited for as a caller must. The one handle is assigned anew, so that a
/// worker's thread has mostly ended by the time that its transaction goes.
class RequestLoop {
public:
    RequestLoop(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger, const BenchHost& host)
        : client(logger, ManagedReference{host.table, host.client})
    {
        LumNetworking::ParseUrl("http://files.example/", url);
    }

    void Perform(const std::string& body, int count)
    {
        for (int i = 0; i < count; ++i) {
            // Shared: the one who waits may go on before the worker has let go of it.
            const auto isGood = std::make_shared<std::promise<bool>>();
            std::future<bool> end = isGood->get_future();
            transaction = client.Post(url, {}, body, Completion(isGood, body.size()), false, 0);
            if (!end.get()) {
                throw std::runtime_error("a request has failed");
            }
        }
    }

private:
    static LumNetworking::HttpCompletion Completion(const std::shared_ptr<std::promise<bool>>& isGood, std::size_t size)
    {
        return [isGood, size](HttpRequestResult result, const std::unique_ptr<HttpResponse>& response, const auto&,
                              const auto&) {
            isGood->set_value(result == HttpRequestResult::SUCCESS && response->body.size() == size);
        };
    }

    LumAsynchronousSocksHttpClient client;
    LumNetworking::UrlComponents url;
    std::shared_ptr<LumNetworking::ILumAsynchronousTransaction> transaction;
};

void measureRequests(BenchReport& report, const BenchHost& host,
                     const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger, const std::string& name,
                     std::optional<double> goal)
{
    constexpr int kRequests = 2000;
    RequestLoop requests(logger, host);
    const Comparison result = MeasureInTurns(
        kRounds, kRequests, [&](int count) { requests.Perform("", count); },
        [&](int count) {
            for (int i = 0; i < count; ++i) {
                std::thread(host.bareCall).join();
            }
        });
    constexpr double kNanosecondsPerMicrosecond = 1000;
    report.AddLessIsBetter(name, "std::thread and a bare call", "us", result.ours / kNanosecondsPerMicrosecond,
                           result.theirs / kNanosecondsPerMicrosecond, goal);
}

LumCliText viewOf(const std::u16string& text)
{
    return {reinterpret_cast<const LumCliChar*>(text.data()), static_cast<std::int32_t>(text.size())};
}

void measureRecords(BenchReport& report, const BenchHost& host)
{
    constexpr int kRecords = 200000;
    const std::u16string file = u"src/Windows/Cli/networking/socks/LumAsynchronousSocksHttpClient.cpp";
    const std::u16string function = u"LumNetworking::LumAsynchronousSocksHttpClient::HandleHttpRequest";
    const std::u16string message = u"LumAsynchronousSocksHttpClient: Request completed with status 200";
    const LumCliText texts[] = {viewOf(file), viewOf(function), viewOf(message)};
    const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate> adapter =
        std::make_shared<LumUtilsCli::LumUtilsLoggerDelegateCliAdapter>(ManagedReference{host.table, host.logger});
    const Comparison result = MeasureInTurns(
        kRounds, kRecords,
        [&](int count) {
            for (int i = 0; i < count; ++i) {
                LUM_LOG(adapter, Info, "LumNetworking::LumAsynchronousSocksHttpClient::HandleHttpRequest",
                        "LumAsynchronousSocksHttpClient: Request completed with status %d", 200);
            }
        },
        [&](int count) {
            for (int i = 0; i < count; ++i) {
                host.bareLog(&texts[0], &texts[1], &texts[2]);
            }
        });
    report.AddLessIsBetter("log record", "bare call, 3 strings", "ns", result.ours, result.theirs, std::nullopt);
}

std::string bodyOf(const std::string& line)
{
    std::string body;
    while (body.size() + line.size() <= kBodySize) {
        body += line;
    }
    return body.append(kBodySize - body.size(), '.');
}

/// The body goes to the host and comes back: each way it is converted once.
void measureBodies(BenchReport& report, const BenchHost& host, const std::string& name, const std::string& line)
{
    constexpr int kBodies = 20;
    const std::string body = bodyOf(line);
    RequestLoop requests(std::make_shared<SilentLogger>(), host);
    const Comparison result = MeasureInTurns(
        kRounds, kBodies, [&](int count) { requests.Perform(body, count); },
        [&](int count) {
            for (int i = 0; i < count; ++i) {
                const ManagedText text = ManagedText::Convert(*host.table, body);
                if (LumUtilsCli::toNativeText(*host.table, text.View()).size() != body.size()) {
                    throw std::runtime_error("a text has changed");
                }
            }
        });
    const auto megabytesPerSecond = [&](double nanoseconds) {
        constexpr double kBytesPerNanosecondToMegabytesPerSecond = 1000;
        return static_cast<double>(body.size()) / nanoseconds * kBytesPerNanosecondToMegabytesPerSecond;
    };
    report.AddMoreIsBetter(name, "two UTF conversions", "MB/s", megabytesPerSecond(result.ours),
                           megabytesPerSecond(result.theirs), std::nullopt);
}

void run(const BenchHost& host, const char* folder)
{
    BenchReport report("boundary");
    measureRequests(report, host, std::make_shared<SilentLogger>(), "request", 1 / kLimitOfRequest);
    measureRequests(
        report, host,
        std::make_shared<LumUtilsCli::LumUtilsLoggerDelegateCliAdapter>(ManagedReference{host.table, host.logger}),
        "request, logged by the host", std::nullopt);
    measureRecords(report, host);
    measureBodies(report, host, "1 MiB of ASCII", "0123456789abcdef0123456789abcdef\n");
    measureBodies(report, host, "1 MiB of many scripts", "caf\xC3\xA9 \xE4\xB8\xAD\xE6\x96\x87 \xF0\x9F\x98\x80 abc\n");
    std::cout << "The host answers at once, one request at a time. A ratio above 1 means that ours is better.\n\n";
    report.PrintTable(std::cout);
    report.WriteFiles(folder);
}

} // namespace

/// 0 if all was measured and written.
extern "C" __attribute__((visibility("default"))) int LumBenchBoundary(const BenchHost* host, const char* folder)
{
    try {
        run(*host, folder);
        return 0;
    } catch (const std::exception& exception) {
        std::cerr << "lum_bench_boundary: " << exception.what() << '\n';
    } catch (...) {
        std::cerr << "lum_bench_boundary: a managed exception\n";
    }
    return 1;
}
