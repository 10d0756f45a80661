#include "UploadProbe.h"

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

namespace LumBench::UploadProbe {

namespace {

using Upload = std::function<bool(const std::string& body)>;

constexpr unsigned int kLimitSeconds = 60;
constexpr long kStatusOk = 200;

bool uploadWithLibrary(LumNetworking::WinHttpClientAsync& client, const std::string& url, const std::string& body)
{
    std::promise<bool> succeeded;
    const auto completion = [&succeeded](LumNetworking::HttpRequestResult /*result*/,
                                         const std::unique_ptr<LumNetworking::HttpResponse>& response, auto&&...) {
        succeeded.set_value(response && response->statusCode == kStatusOk);
    };
    constexpr int kConnectSeconds = 30;
    return client.Post(url, {}, body, completion, true, kConnectSeconds) && succeeded.get_future().get();
}

bool uploadWithCurl(CURL* handle, const std::string& body)
{
    curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    curl_easy_setopt(handle, CURLOPT_POSTFIELDS, body.data());
    return curl_easy_perform(handle) == CURLE_OK && EasyStatus(handle) == kStatusOk;
}

/// Without "Expect", for which curl would wait.
std::shared_ptr<curl_slist> makeHeaders()
{
    return {curl_slist_append(nullptr, "Expect:"), curl_slist_free_all};
}

Upload makeUpload(const std::string& client, const std::string& url)
{
    if (client == kOurs) {
        auto library = std::make_shared<LumNetworking::WinHttpClientAsync>(std::make_shared<CountingLogger>());
        return [library, url](const std::string& body) { return uploadWithLibrary(*library, url, body); };
    }
    auto response = std::make_shared<EasyResponse>();
    const std::shared_ptr<curl_slist> headers = makeHeaders();
    const std::shared_ptr<CURL> handle = MakeEasyHandle(url, *response);
    curl_easy_setopt(handle.get(), CURLOPT_HTTPHEADER, headers.get());
    return [=](const std::string& body) {
        *response = EasyResponse();
        return headers && uploadWithCurl(handle.get(), body);
    };
}

UploadMeasurement measureHere(const std::string& client, const std::string& url, std::uint64_t bodySize)
{
    const Upload upload = makeUpload(client, url);
    const std::string body(bodySize, 'u');
    // What is set up once does not count: threads, tables, the connection.
    upload("warm up");
    ProcessUsage::ResetPeak();
    const std::uint64_t before = ProcessUsage::ResidentBytes();
    const auto start = std::chrono::steady_clock::now();
    if (!upload(body)) {
        throw std::runtime_error("the upload failed");
    }
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    return {elapsed.count(), static_cast<double>(ProcessUsage::PeakResidentBytes() - before)};
}

} // namespace

UploadMeasurement Measure(const std::string& client, const std::string& url, std::uint64_t bodySize)
{
    std::istringstream output(RunSelf({kOption, client, url, std::to_string(bodySize)}));
    UploadMeasurement measurement;
    if (!(output >> measurement.seconds >> measurement.peakBytes)) {
        throw std::runtime_error("a measuring process gave no numbers");
    }
    return measurement;
}

int Main(int count, const char* const* arguments)
{
    constexpr int kExpectedCount = 5;
    if (count != kExpectedCount) {
        return 2;
    }
    alarm(kLimitSeconds);
    const UploadMeasurement result = measureHere(arguments[2], arguments[3], std::stoull(arguments[4]));
    std::cout << std::setprecision(12) << result.seconds << ' ' << result.peakBytes << '\n';
    return 0;
}

} // namespace LumBench::UploadProbe
