#include "soak/networking/RequestLedger.h"

#include "common/networking/LumNetworkingError.h"
#include "common/utils/LumError.h"

#include <PlatformQuirks.h>

#include <algorithm>
#include <any>
#include <iomanip>
#include <iostream>
#include <sstream>

namespace LumTests {

using LumNetworking::HttpRequestResult;
using LumNetworking::HttpResponse;
using LumNetworking::ILumAsynchronousTransaction;
using LumUtils::ILumError;

namespace {

std::optional<int> platformCodeOf(const ILumError& error)
{
    const auto found = error.getUserInfo().find(LumUtils::LumErrorUnderlyingErrorCode);
    if (found == error.getUserInfo().end()) {
        return std::nullopt;
    }
    const int* const code = std::any_cast<int>(&found->second);
    return code == nullptr ? -1 : *code;
}

std::string describe(const HttpResponse* response, const ILumError* error)
{
    if (error != nullptr) {
        return error->getDescription() + ", platform's number " + std::to_string(platformCodeOf(*error).value_or(0));
    }
    return response == nullptr ? "neither response nor error"
                               : "status " + std::to_string(response->statusCode) + ", a body of " +
                                     std::to_string(response->body.size()) + " bytes";
}

/// Whether the platform may tell of the failure with that number.
bool isPlatformCode(std::optional<int> code, const FaultPlan::Failure& failure)
{
    return code == failure.platformCode ||
           (code && failure.platformCode && Quirks::isNotifiedInsteadOf(*failure.platformCode, *code));
}

} // namespace

RequestLedger::Entry::Entry(RequestLedger& ledger, FaultPlan plan, bool mayBeEmpty)
    : books(ledger), expected(std::move(plan)), mayLackResponse(mayBeEmpty)
{
    ++books.started;
    books.bound += expected.failures.empty() ? 1 : 0;
    ++books.inFlight;
}

RequestLedger::Entry::~Entry()
{
    if (!isRefused && completions == 0) {
        books.Report(books.lost, "never completed", expected);
    }
    --books.inFlight;
}

void RequestLedger::Entry::OnStarted(bool isStarted)
{
    isRefused = !isStarted;
    books.refused += isStarted ? 0 : 1;
    books.started -= isStarted ? 0 : 1;
    books.bound -= isStarted || !expected.failures.empty() ? 0 : 1;
    if (isStarted == expected.isRefused) {
        books.Report(books.wrong, isStarted ? "not refused" : "refused", expected);
    }
    if (!isStarted && completions > 0) {
        books.Report(books.wrong, "refused and completed", expected);
    }
}

void RequestLedger::Entry::OnCompleted(HttpRequestResult result, const HttpResponse* response, const ILumError* error,
                                       const ILumAsynchronousTransaction* transaction)
{
    if (++completions > 1) {
        books.Report(books.repeated, "completed again", expected);
        return;
    }
    if (!IsAsExpected(result, response, error, transaction)) {
        books.Report(books.wrong, "completed with another outcome than may be: " + describe(response, error), expected);
        return;
    }
    ++(result == HttpRequestResult::SUCCESS  ? books.succeeded
       : result == HttpRequestResult::FAILED ? books.failed
                                             : books.cancelled);
}

bool RequestLedger::Entry::IsAsExpected(HttpRequestResult result, const HttpResponse* response, const ILumError* error,
                                        const ILumAsynchronousTransaction* transaction) const
{
    switch (result) {
    case HttpRequestResult::SUCCESS:
        return error == nullptr && IsExpectedResponse(response, transaction);
    case HttpRequestResult::FAILED:
        return response == nullptr && error != nullptr && IsExpectedFailure(*error);
    case HttpRequestResult::CANCELLED:
        return response == nullptr && error == nullptr && transaction != nullptr && transaction->IsCancelled();
    }
    return false;
}

bool RequestLedger::Entry::IsExpectedResponse(const HttpResponse* response,
                                              const ILumAsynchronousTransaction* transaction) const
{
    if (response == nullptr) {
        return mayLackResponse && transaction == nullptr;
    }
    switch (expected.verdict) {
    case FaultPlan::Verdict::Whole:
        return response->statusCode == expected.status && response->body == expected.body;
    case FaultPlan::Verdict::Part:
        return response->statusCode == expected.status &&
               expected.body.compare(0, response->body.size(), response->body) == 0;
    case FaultPlan::Verdict::Broken:
        return false;
    case FaultPlan::Verdict::Anything:
        return true;
    }
    return false;
}

bool RequestLedger::Entry::IsExpectedFailure(const ILumError& error) const
{
    return error.getDomain() == LumNetworking::LibLumNetworkingErrorDomain &&
           std::any_of(expected.failures.begin(), expected.failures.end(), [&](const FaultPlan::Failure& failure) {
               return error.getCode() == failure.code && isPlatformCode(platformCodeOf(error), failure);
           });
}

/// Says which request it was, so that it can be looked for by its number.
void RequestLedger::Report(std::atomic<std::uint64_t>& count, const std::string& what, const FaultPlan& plan)
{
    constexpr std::uint64_t kMostReports = 20;
    if (++count > kMostReports) {
        return;
    }
    std::ostringstream text;
    text << "request " << plan.number << " (" << faultNames()[plan.kind] << ", expected status " << plan.status
         << ", a body of " << plan.body.size() << " bytes) was " << what << '\n';
    std::cerr << text.str();
}

bool RequestLedger::IsGood() const
{
    return succeeded > 0 && bound > 0 && failed > 0 && cancelled > 0 && lost == 0 && repeated == 0 && wrong == 0 &&
           inFlight == 0 && started == succeeded + failed + cancelled;
}

void RequestLedger::Print(std::ostream& output) const
{
    const std::pair<const char*, const std::atomic<std::uint64_t>&> rows[] = {
        {"started", started},     {"bound to succeed", bound},  {"succeeded", succeeded}, {"failed", failed},
        {"cancelled", cancelled}, {"refused", refused},         {"lost", lost},           {"completed again", repeated},
        {"wrong outcome", wrong}, {"still in flight", inFlight}};
    for (const auto& [name, count] : rows) {
        output << "  " << std::left << std::setw(18) << name << std::right << std::setw(10) << count << '\n';
    }
}

} // namespace LumTests
