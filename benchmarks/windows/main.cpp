#include "WindowsLoadNames.h"
#include "support/BenchOptions.h"
#include "support/BenchReport.h"
#include "support/ChildProcess.h"
#include "support/InterruptWatch.h"
#include "support/NginxServer.h"
#include "support/ProxyEnvironment.h"
#include "support/TemporaryFolder.h"

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <stdexcept>

#include <unistd.h>

/// lum_bench_windows X64_LOADS X86_LOADS [OPTION...]: starts a server, runs both programs with it under Wine, and
/// reports.

namespace {

using namespace LumBench;
using LumLocalServer::InterruptWatch;
using LumLocalServer::NginxServer;
using LumLocalServer::TemporaryFolder;

/// The bodies lie in the server's folder under their sizes.
constexpr const char* kServerDirectives = "root .;\n"
                                          "open_file_cache max=16 inactive=1h;\n"
                                          "open_file_cache_valid 1h;\n";

/// The library may take 1.1 times as long.
constexpr double kGoal = 1 / 1.1;

/// A client that loses a request must not keep the program for ever.
constexpr unsigned int kLimitSeconds = 600;

/// Requests per second by case and client.
using Rates = std::map<std::string, std::map<std::string, double>>;

void writeBody(const std::filesystem::path& folder, std::size_t size)
{
    std::ofstream(folder / std::to_string(size), std::ios::binary) << std::string(size, 'x');
}

Rates parseRates(const std::string& output)
{
    Rates rates;
    std::istringstream lines(output);
    std::string caseName;
    std::string client;
    std::string rate;
    while (std::getline(lines, caseName, '\t') && std::getline(lines, client, '\t') && std::getline(lines, rate)) {
        rates[caseName][client] = std::stod(rate);
    }
    return rates;
}

Rates runLoads(const std::string& program, const std::string& width, const BenchOptions& options,
               const std::string& baseUrl)
{
    const char* const rounds = options.isQuick ? "3" : "9";
    const char* const milliseconds = options.isQuick ? "150" : "300";
    return parseRates(
        RunProgram({"wine", program, baseUrl, width, rounds, milliseconds, options.caseFilter, options.peerFilter}));
}

void addRows(BenchReport& report, const Rates& rates)
{
    for (const auto& [caseName, byClient] : rates) {
        for (const char* const peer : {WindowsLoadNames::kSessionPerRequest, WindowsLoadNames::kOneSession}) {
            const auto theirs = byClient.find(peer);
            if (theirs != byClient.end()) {
                const bool isLimit = peer == WindowsLoadNames::kSessionPerRequest;
                report.AddMoreIsBetter(caseName, peer, "requests/s", byClient.at(WindowsLoadNames::kLibrary),
                                       theirs->second, isLimit ? std::optional<double>(kGoal) : std::nullopt);
            }
        }
    }
}

void run(const std::string& x64Loads, const std::string& x86Loads, const BenchOptions& options)
{
    LumLocalServer::HoldInterrupts();
    alarm(kLimitSeconds);
    TemporaryFolder folder("lum-bench-windows");
    writeBody(folder.Path(), kWindowsSmallBody);
    writeBody(folder.Path(), kWindowsMediumBody);
    NginxServer server(folder.Path(), kServerDirectives);
    const InterruptWatch interrupts([&] {
        server.Stop();
        folder.Remove();
    });

    BenchReport report("windows");
    addRows(report, runLoads(x64Loads, "x64", options, server.BaseUrl()));
    addRows(report, runLoads(x86Loads, "x86", options, server.BaseUrl()));
    std::cout
        << "Real WinHTTP under Wine, the module as it ships, nginx on loopback; x16: 16 requests in flight, each\n"
           "completion starts the next. The library opens a session for each request. Each number is the median of\n"
           "its rounds. A ratio above 1 means that ours is better.\n\n";
    report.PrintTable(std::cout);
    report.WriteFiles(options.outputFolder);
    std::cout << "written: " << (options.outputFolder / "windows.json").string() << " and windows.svg\n";
}

} // namespace

int main(int count, char** arguments)
{
    try {
        constexpr int kPrograms = 2;
        if (count <= kPrograms) {
            throw std::invalid_argument("the two programs that run the loads are to be named first");
        }
        LumLocalServer::ForgetProxies();
        run(arguments[1], arguments[2], ParseBenchOptions(count - kPrograms, arguments + kPrograms));
        return EXIT_SUCCESS;
    } catch (const std::exception& exception) {
        std::cerr << "lum_bench_windows: " << exception.what() << '\n';
        return EXIT_FAILURE;
    }
}
