#include "BurstProbe.h"
#include "HttpBenchmark.h"
#include "LargeBodyProbe.h"
#include "UploadProbe.h"
#include "support/InterruptWatch.h"
#include "support/NginxServer.h"
#include "support/ProxyEnvironment.h"
#include "support/TemporaryFolder.h"

#include <curl/curl.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include <unistd.h>

namespace {

using namespace LumBench;
using LumLocalServer::InterruptWatch;
using LumLocalServer::NginxServer;
using LumLocalServer::TemporaryFolder;

/// The bodies lie in the server's folder under their sizes. The server keeps the files open: it is not what is
/// measured.
constexpr const char* kServerDirectives = "root .;\n"
                                          "open_file_cache max=16 inactive=1h;\n"
                                          "open_file_cache_valid 1h;\n"
                                          "location = /status { stub_status; }\n";

void writeBody(const std::filesystem::path& folder, std::size_t size)
{
    std::ofstream file(folder / std::to_string(size), std::ios::binary);
    constexpr std::size_t kBlock = std::size_t{1} << 20U;
    std::string block;
    for (std::size_t offset = 0; offset < size; offset += block.size()) {
        block.resize(std::min(kBlock, size - offset));
        for (std::size_t index = 0; index < block.size(); ++index) {
            block[index] = LargeBodyByte(offset + index);
        }
        file.write(block.data(), static_cast<std::streamsize>(block.size()));
    }
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write a body of " + std::to_string(size) + " bytes to " + folder.string());
    }
}

/// A client that loses a request must not keep the program for ever.
constexpr unsigned int kLimitSeconds = 600;

void run(const BenchOptions& options)
{
    LumLocalServer::HoldInterrupts();
    alarm(kLimitSeconds);
    TemporaryFolder folder("lum-bench-http");
    for (const std::size_t size : {HttpBenchmark::kSmallBody, HttpBenchmark::kMediumBody, HttpBenchmark::kLargeBody}) {
        writeBody(folder.Path(), size);
    }
    NginxServer server(folder.Path(), kServerDirectives);
    const InterruptWatch interrupts([&] {
        server.Stop();
        folder.Remove();
    });

    HttpBenchmark benchmark(options, server.BaseUrl());
    const BenchReport report = benchmark.Run();
    std::cout
        << "nginx on loopback, one process; x16: 16 requests in flight; chained: each completion starts the next\n"
           "request; submitted: a thread of its own starts them. The thread-per-request client keeps one easy\n"
           "handle per thread. Connections count from 0.1 s into a case. A ratio above 1 means that ours is better;\n"
           "it is that of the medians, and min, median and max are those of the single rounds' ratios.\n"
           "Log records per request: "
        << FormatNumber(benchmark.LogRecordsPerRequest()) << "\n\n";
    report.PrintTable(std::cout);
    report.WriteFiles(options.outputFolder);
    std::cout << "written: " << (options.outputFolder / "http.json").string() << " and http.svg\n";
}

} // namespace

int main(int count, char** arguments)
{
    try {
        curl_global_init(CURL_GLOBAL_ALL);
        LumLocalServer::ForgetProxies();
        if (count > 1 && std::string(arguments[1]) == LargeBodyProbe::kOption) {
            return LargeBodyProbe::Main(count, arguments);
        }
        if (count > 1 && std::string(arguments[1]) == UploadProbe::kOption) {
            return UploadProbe::Main(count, arguments);
        }
        if (count > 1 && std::string(arguments[1]) == BurstProbe::kOption) {
            return BurstProbe::Main(count, arguments);
        }
        run(ParseBenchOptions(count, arguments));
        return EXIT_SUCCESS;
    } catch (const std::exception& exception) {
        std::cerr << "lum_bench_http: " << exception.what() << '\n';
        return EXIT_FAILURE;
    }
}
