#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace LumTests {

/// What the hostile server does with one request. It follows from the run's seed and the request's number, so that both
/// sides know it: the server does it, and the client judges what came of it.
struct FaultPlan {
    struct Step {
        std::chrono::milliseconds pause;
        std::string bytes;
    };

    enum class End { KeepAlive, Close, Reset };

    /// What may come of the request, permitted failures apart.
    enum class Verdict {
        /// A success only with that status and body.
        Whole,
        /// No success at all.
        Broken,
        Anything,
    };

    enum class Redirect { None, ToWhole, Endless };

    /// A failure by the error's code and the platform's number, if it has one.
    struct Failure {
        int code;
        std::optional<int> platformCode;
    };

    std::uint64_t number = 0;
    std::size_t kind = 0;
    std::vector<Step> steps;
    End end = End::KeepAlive;
    Verdict verdict = Verdict::Whole;
    Redirect redirect = Redirect::None;
    /// Whether the answer begins before the request's body was read.
    bool isEarly = false;
    int status = 200;
    std::string body;
    /// With which the request may fail. Without any it must succeed, unless it is cancelled.
    std::vector<Failure> failures;
    /// Whether the request cannot even be started.
    bool isRefused = false;
};

/// A failure after the request was sent, with the platform's number.
FaultPlan::Failure failureOf(int platformCode);

/// The plan of a request by its number.
FaultPlan makeFaultPlan(std::uint64_t seed, std::uint64_t number);

/// The plan of a request that a redirect of that one led to: a whole answer.
FaultPlan makeWholePlan(std::uint64_t seed, std::uint64_t number);

/// What the host's proxied client does with a request: after the pause of the first step it answers, or, if the verdict
/// is that the request is broken, throws.
FaultPlan makeProxiedPlan(std::uint64_t seed, std::uint64_t number);

/// What a client that follows redirects, or does not, is to expect of the request.
FaultPlan makeExpectation(std::uint64_t seed, std::uint64_t number, bool followsRedirects);

/// What each kind of plan is called.
const std::vector<std::string>& faultNames();

} // namespace LumTests
