#include "LargeBodyProbe.h"

#include "CountingLogger.h"
#include "EasyHandle.h"
#include "support/ChildProcess.h"
#include "support/ProcessUsage.h"

#include "Windows/networking/WinHttpClientAsync.h"

#include <chrono>
#include <functional>
#include <future>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include <unistd.h>

namespace LumBench::LargeBodyProbe {

namespace {

using Fetch = std::function<std::string(const std::string& url)>;

constexpr unsigned int kLimitSeconds = 60;

std::string fetchWithLibrary(LumNetworking::WinHttpClientAsync& client, const std::string& url)
{
    std::promise<std::string> received;
    const auto completion = [&received](LumNetworking::HttpRequestResult /*result*/,
                                        std::unique_ptr<LumNetworking::HttpResponse> response, auto&&...) {
        received.set_value(response ? std::move(response->body) : std::string());
    };
    constexpr int kConnectSeconds = 30;
    if (!client.Get(url, {}, completion, true, kConnectSeconds)) {
        throw std::runtime_error("the library refused the request");
    }
    return received.get_future().get();
}

std::string fetchWithCurl(CURL* handle, EasyResponse& response, const std::string& url)
{
    curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
    if (curl_easy_perform(handle) != CURLE_OK) {
        throw std::runtime_error("libcurl failed");
    }
    return std::move(response.body);
}

Fetch makeFetch(const std::string& client, std::uint64_t bodySize)
{
    if (client == kOurs) {
        auto library = std::make_shared<LumNetworking::WinHttpClientAsync>(std::make_shared<CountingLogger>());
        return [library](const std::string& url) { return fetchWithLibrary(*library, url); };
    }
    auto response = std::make_shared<EasyResponse>();
    std::shared_ptr<CURL> handle = MakeEasyHandle("", *response);
    return [=](const std::string& url) {
        *response = EasyResponse();
        response->expectedSize = client == kReserving ? bodySize : 0;
        return fetchWithCurl(handle.get(), *response, url);
    };
}

bool isWhole(const std::string& body, std::uint64_t bodySize)
{
    constexpr std::uint64_t kStride = 4099;
    if (body.size() != bodySize) {
        return false;
    }
    for (std::uint64_t offset = 0; offset < bodySize; offset += kStride) {
        if (body[offset] != LargeBodyByte(offset)) {
            return false;
        }
    }
    return true;
}

LargeBodyMeasurement measureHere(const std::string& client, const std::string& baseUrl, const std::string& path,
                                 std::uint64_t bodySize)
{
    const Fetch fetch = makeFetch(client, bodySize);
    // What is set up once does not count: threads, tables, the connection.
    fetch(baseUrl + "/32");
    ProcessUsage::ResetPeak();
    const std::uint64_t before = ProcessUsage::ResidentBytes();
    const auto start = std::chrono::steady_clock::now();
    const std::string body = fetch(baseUrl + path);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    const std::uint64_t peak = ProcessUsage::PeakResidentBytes();
    if (!isWhole(body, bodySize)) {
        throw std::runtime_error("the body is not what the server has");
    }
    return {elapsed.count(), static_cast<double>(peak - before)};
}

} // namespace

LargeBodyMeasurement Measure(const std::string& client, const std::string& baseUrl, const std::string& path,
                             std::uint64_t bodySize)
{
    std::istringstream output(RunSelf({kOption, client, baseUrl, path, std::to_string(bodySize)}));
    LargeBodyMeasurement measurement;
    if (!(output >> measurement.seconds >> measurement.peakBytes)) {
        throw std::runtime_error("a measuring process gave no numbers");
    }
    return measurement;
}

int Main(int count, const char* const* arguments)
{
    constexpr int kExpectedCount = 6;
    if (count != kExpectedCount) {
        return 2;
    }
    alarm(kLimitSeconds);
    const LargeBodyMeasurement result =
        measureHere(arguments[2], arguments[3], arguments[4], std::stoull(arguments[5]));
    std::cout << std::setprecision(12) << result.seconds << ' ' << result.peakBytes << '\n';
    return 0;
}

} // namespace LumBench::LargeBodyProbe
