#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace LumTests {

/// What the plans of a run's requests follow from. The client tells the server with each request.
struct FaultRun {
    std::uint64_t seed = 0;
    /// Whether the server spares the client what not every platform survives: resets within the headers. It sends
    /// headers in hundreds at most, for thousands of which such a platform takes long; and where the platform may not
    /// see where an answer ends, or the server ends the connection after a good one, it says so in the answer.
    bool isSparing = false;
};

/// What the hostile server does with one request. It follows from the run and the request's number, so that both sides
/// know it: the server does it, and the client judges what came of it.
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
        /// A success only with that status and a beginning of that body.
        Part,
        /// No success at all.
        Broken,
        Anything,
    };

    enum class Redirect { None, ToWhole, Endless };

    /// What the host's proxied client does with the request: it throws, or the body's last character is half a one,
    /// which cannot be encoded.
    enum class HostFault { None, Throws, HalfCharacter };

    /// A failure by the error's code and the platform's number, if it has one.
    struct Failure {
        int code;
        std::optional<int> platformCode;
    };

    FaultRun run;
    std::uint64_t number = 0;
    std::size_t kind = 0;
    std::vector<Step> steps;
    End end = End::KeepAlive;
    Verdict verdict = Verdict::Whole;
    Redirect redirect = Redirect::None;
    HostFault hostFault = HostFault::None;
    /// Whether the answer begins before the request's body was read.
    bool isEarly = false;
    int status = 200;
    std::string body;
    /// With which the request may fail. Without any it must succeed, unless it is cancelled.
    std::vector<Failure> failures;
    /// Whether the request cannot even be started.
    bool isRefused = false;
};

/// A failure of which the platform notifies after the request was started, with the platform's number.
FaultPlan::Failure failureOf(int platformCode);

/// The plan of a request by its number.
FaultPlan makeFaultPlan(const FaultRun& run, std::uint64_t number);

/// The plan of a request that a redirect of that one led to: a whole answer.
FaultPlan makeWholePlan(const FaultRun& run, std::uint64_t number);

/// Where the request of that number goes.
std::string pathOf(const FaultRun& run, std::uint64_t number);

/// What a request of that path asks for.
FaultPlan makePlanOfPath(const std::string& path);

/// What the host's proxied client does with a request: after the pause of the first step it answers or throws.
FaultPlan makeProxiedPlan(std::uint64_t seed, std::uint64_t number);

/// What a client that follows redirects, or does not, is to expect of the request.
FaultPlan makeExpectation(const FaultRun& run, std::uint64_t number, bool followsRedirects);

/// What a port of the hostile server does to connections, besides what the plans of their requests say.
enum class PortKind {
    /// Every connection is accepted and lives until a plan ends it.
    Steady,
    /// Some connections are accepted only to be reset or ignored.
    Rough,
    /// Now and then nobody listens for a while.
    Changing,
};

/// Many, as each keeps few connections that are not accepted yet; others that come are tried again a second later.
constexpr std::size_t kHostilePorts = 32;

/// Of the port with that place.
PortKind kindOfPort(std::size_t index);

/// The path to be asked for first. The server counts its faults from then on, begins to close listeners and open them
/// again, and throws its dice for the ports by that seed.
std::string beginningPath(std::uint64_t seed);

/// The seed if it is that path.
std::optional<std::uint64_t> seedOfBeginning(const std::string& path);

/// The path whose answer is how often each fault was done since the beginning, or since it was asked for last, a line
/// "COUNT NAME" for each; the status is another than 200 if something has gone wrong in the server itself, which the
/// body then tells. All other connections end, and all ports listen.
constexpr const char* kEndPath = "/end";

/// What each kind of plan is called.
const std::vector<std::string>& faultNames();

} // namespace LumTests
