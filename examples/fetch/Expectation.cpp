#include "Expectation.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace LumFetch {

namespace {

constexpr std::int32_t kStatusOk = 200;
constexpr std::int32_t kStatusCreated = 201;
constexpr std::int32_t kFirstErrorStatus = 400;

std::string contentOf(const std::filesystem::path& path)
{
    const std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot read " + path.string());
    }
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

Verdict judgeStatus(const FetchOutcome& outcome, std::int32_t status)
{
    if (!outcome.response) {
        return {false, "failed"};
    }
    if (outcome.response->statusCode != status) {
        return {false, "status " + std::to_string(status) + " was expected"};
    }
    return {true, status == kStatusOk ? "ok" : "as expected"};
}

Verdict judgeSuccess(const FetchOutcome& outcome)
{
    if (!outcome.response) {
        return {false, outcome.wasAccepted ? "failed" : "refused, see the log"};
    }
    const bool isGood = outcome.response->statusCode < kFirstErrorStatus;
    return {isGood, isGood ? "ok" : "the server reports an error"};
}

Verdict judgeFailure(const FetchOutcome& outcome)
{
    if (outcome.response || !outcome.error) {
        return {false, "should have failed"};
    }
    return {true, "fails, as expected"};
}

} // namespace

Expectation Expectation::Success()
{
    return Expectation(judgeSuccess);
}

Expectation Expectation::Status(std::int32_t status)
{
    return Expectation([status](const FetchOutcome& outcome) { return judgeStatus(outcome, status); });
}

Expectation Expectation::SameAsFile(const std::filesystem::path& file)
{
    return Expectation([file](const FetchOutcome& outcome) -> Verdict {
        const Verdict verdict = judgeStatus(outcome, kStatusOk);
        if (!verdict.isAsExpected) {
            return verdict;
        }
        const bool isSame = outcome.response->body == contentOf(file);
        return {isSame, isSame ? "same as on disk" : "DIFFERS from " + file.string()};
    });
}

Expectation Expectation::Stored(const std::filesystem::path& file, const std::string& text)
{
    return Expectation([file, text](const FetchOutcome& outcome) -> Verdict {
        const Verdict verdict = judgeStatus(outcome, kStatusCreated);
        if (!verdict.isAsExpected) {
            return verdict;
        }
        const bool isSame = contentOf(file) == text;
        return {isSame, isSame ? "stored as sent" : "NOT stored as sent"};
    });
}

Expectation Expectation::Failure()
{
    return Expectation(judgeFailure);
}

} // namespace LumFetch
