#include "Windows/networking/WinHttpClientAsync.h"
#include "fuzz/AnswerSource.h"
#include "fuzz/FuzzTargets.h"
#include "support/RequestRecorder.h"

#include <memory>

namespace {

using LumFuzz::AnswerSource;
using LumNetworking::HttpRequestResult;
using namespace LumTests;

void expectWhole(const Outcome& outcome)
{
    switch (outcome.result) {
    case HttpRequestResult::SUCCESS:
        LumFuzz::expect(outcome.response && !outcome.error, "a success has a response and no error");
        LumFuzz::expect(outcome.response->statusCode >= 100 && outcome.response->statusCode <= 999,
                        "a status has three digits");
        return;
    case HttpRequestResult::FAILED:
        LumFuzz::expect(!outcome.response && outcome.error, "a failure has an error and no response");
        LumFuzz::expect(outcome.error->getCode() == 13, "what is received fails with code 13");
        return;
    default:
        throw LumFuzz::BrokenPromise("nobody has cancelled");
    }
}

Outcome outcomeOf(const std::string& url)
{
    const RequestRecorder recorder;
    {
        LumNetworking::WinHttpClientAsync client(nullptr);
        LumFuzz::expect(client.Get(url, {}, recorder.Completion(), AnswerSource::kIsProxy, 20) != nullptr,
                        "a request starts");
    }
    Outcome outcome = recorder.WaitForOutcome();
    recorder.WaitForRelease();
    LumFuzz::expect(recorder.CallCount() == 1, "a request is completed once");
    LumFuzz::expect(AnswerSource::IsForgottenSoon(), "every handle is closed");
    return outcome;
}

} // namespace

/// The input is all that a server sends before it closes the connection: as the answer to a request, and as that of a
/// proxy which is asked for a tunnel. One that opens the tunnel is left out: the certificates that are read then take
/// longer than a hundred inputs.
void LumFuzz::response(std::string_view input)
{
    const std::string url = AnswerSource::UrlOf(input);
    expectWhole(outcomeOf(url));
    if (!AnswerSource::kIsProxy || input.find(" 2") != std::string_view::npos) {
        return;
    }
    const Outcome refused = outcomeOf("https://host.invalid/");
    expectWhole(refused);
    expect(refused.result == HttpRequestResult::FAILED, "nothing comes from a server that was not reached");
}
