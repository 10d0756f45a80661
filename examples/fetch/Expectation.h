#pragma once

#include "FetchOutcome.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

namespace LumFetch {

/// Whether an outcome is as it should be, and in which words to say so.
struct Verdict {
    bool isAsExpected = false;
    std::string text;
};

/// What should come of a request.
class Expectation {
public:
    /// A response with a status below 400.
    static Expectation Success();

    /// A response with this status.
    static Expectation Status(std::int32_t status);

    /// Status 200 and a body equal to the file.
    static Expectation SameAsFile(const std::filesystem::path& file);

    /// Status 201, and the file then holds the text.
    static Expectation Stored(const std::filesystem::path& file, const std::string& text);

    /// No response but an error.
    static Expectation Failure();

    Verdict Judge(const FetchOutcome& outcome) const { return judge(outcome); }

private:
    using Judgement = std::function<Verdict(const FetchOutcome& outcome)>;

    explicit Expectation(Judgement newJudge) : judge(std::move(newJudge)) {}

    Judgement judge;
};

} // namespace LumFetch
