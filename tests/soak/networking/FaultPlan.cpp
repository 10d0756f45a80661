#include "soak/networking/FaultPlan.h"

#include "common/networking/LumNetworkingError.h"
#include "soak/networking/Dice.h"
#include "support/BodyPattern.h"

#include <NarrowEncoding.h>
#include <PlatformQuirks.h>

#include <algorithm>
#include <cstdlib>
#include <initializer_list>
#include <iterator>
#include <numeric>
#include <sstream>

namespace LumTests {

namespace {

using Step = FaultPlan::Step;
using End = FaultPlan::End;
using Verdict = FaultPlan::Verdict;
using std::chrono::milliseconds;

/// The longest that the server lets a client wait before it goes on.
constexpr std::uint64_t kLongestStall = 1000;
constexpr std::uint64_t kShortPause = 30;
constexpr unsigned int kBodyBits = 16;

/// Headers that everybody takes.
constexpr std::size_t kTakenHeaders = std::size_t{64} << 10U;

/// An answer of fewer bytes arrives in the pieces in which it is sent.
constexpr std::size_t kSplitAnswer = 8000;

constexpr std::uint64_t kMostHeaders = 3000;
constexpr std::uint64_t kMostSparingHeaders = 300;

/// From these on the ports are of the other kinds.
constexpr std::size_t kFirstRough = 24;
constexpr std::size_t kFirstChanging = 28;

/// The paths' first folders.
constexpr const char* kAnyFolder = "/any/";
constexpr const char* kSparingFolder = "/sparing/";
constexpr const char* kWholeFolder = "/whole/";
constexpr const char* kBeginningFolder = "/begin/";

/// The platform's numbers.
constexpr int kNameNotResolved = 12007;
constexpr int kConnectionError = 12030;
constexpr int kInvalidResponse = 12152;
constexpr int kRedirectFailed = 12156;
constexpr int kNotEnoughMemory = 8;
constexpr int kIncorrectHandleState = 12019;

/// The plan leads to no success.
void breakWith(FaultPlan& plan, std::initializer_list<int> platformCodes)
{
    plan.verdict = Verdict::Broken;
    for (const int platformCode : platformCodes) {
        plan.failures.push_back(failureOf(platformCode));
    }
}

/// The connection ends when so many bytes of the answer were sent. Where the platform takes a part for the whole it may
/// do so.
void cutOff(FaultPlan& plan, std::size_t place, std::size_t headSize)
{
    breakWith(plan, {kConnectionError});
    if (place >= headSize ? Quirks::kAcceptsShortBodies : place > 0 && Quirks::kAcceptsShortHeaders) {
        plan.verdict = Verdict::Part;
    }
}

milliseconds shortPause(Dice& dice)
{
    return milliseconds(dice.OneIn(2) ? 0 : dice.Below(kShortPause));
}

milliseconds stallTime(Dice& dice)
{
    return milliseconds(dice.Below(kLongestStall));
}

/// Bodies differ from request to request, so that one that reaches the wrong request is found.
std::string bodyOf(Dice& dice, std::size_t length)
{
    std::string body(length, '\0');
    fillWithBodyPattern(body.data(), body.size(), dice.Below(std::uint64_t{1} << 40U));
    return body;
}

std::string statusLine(int status)
{
    return "HTTP/1.1 " + std::to_string(status) + " Status\r\n";
}

std::string contentLength(std::size_t length)
{
    return "Content-Length: " + std::to_string(length) + "\r\n";
}

std::string pathIn(const char* folder, const FaultRun& run, std::uint64_t number)
{
    return folder + std::to_string(run.seed) + "/" + std::to_string(number);
}

constexpr const char* kConnectionClose = "Connection: close\r\n";

std::string headOf(const FaultPlan& plan)
{
    return statusLine(plan.status) + contentLength(plan.body.size()) + "\r\n";
}

std::string chunk(const std::string& bytes)
{
    std::ostringstream stream;
    stream << std::hex << bytes.size() << "\r\n" << bytes << "\r\n";
    return stream.str();
}

/// The first step's head says that the connection ends with the answer, and so it does.
void announceClose(FaultPlan& plan)
{
    std::string& bytes = plan.steps.front().bytes;
    const std::size_t headEnd = bytes.find("\r\n\r\n", 1);
    bytes.insert(headEnd + 2, kConnectionClose);
    plan.end = End::Close;
}

void fillWhole(FaultPlan& plan, Dice& dice)
{
    constexpr int kStatuses[] = {200, 200, 200, 201, 404, 500, 503};
    plan.status = kStatuses[dice.Below(std::size(kStatuses))];
    plan.body = bodyOf(dice, dice.Size(kBodyBits));
    plan.steps = {{shortPause(dice), headOf(plan) + plan.body}};
}

void fillWithoutBody(FaultPlan& plan, Dice& dice)
{
    plan.status = dice.OneIn(2) ? 204 : 304;
    plan.steps = {{shortPause(dice), statusLine(plan.status) + "\r\n"}};
}

std::size_t sizeOf(const FaultPlan& plan)
{
    return std::accumulate(plan.steps.begin(), plan.steps.end(), std::size_t{0},
                           [](std::size_t sum, const Step& step) { return sum + step.bytes.size(); });
}

void fillChunked(FaultPlan& plan, Dice& dice)
{
    plan.body = bodyOf(dice, dice.Size(kBodyBits));
    plan.steps = {{shortPause(dice), statusLine(200) + "Transfer-Encoding: chunked\r\n\r\n"}};
    const std::size_t size = 1 + dice.Size(kBodyBits);
    for (std::size_t start = 0; start < plan.body.size(); start += size) {
        plan.steps.push_back({milliseconds(0), chunk(plan.body.substr(start, size))});
    }
    plan.steps.push_back({shortPause(dice), "0\r\n\r\n"});
    const bool isLong = sizeOf(plan) > kSplitAnswer;
    if (isLong && plan.run.isSparing) {
        announceClose(plan);
    }
    if (isLong && Quirks::kErrorAtLastChunk != 0) {
        plan.failures.push_back(failureOf(Quirks::kErrorAtLastChunk));
    }
}

void fillUntilClose(FaultPlan& plan, Dice& dice)
{
    plan.body = bodyOf(dice, dice.Size(kBodyBits));
    plan.steps = {{shortPause(dice), statusLine(200) + kConnectionClose + "\r\n" + plan.body}};
    plan.end = End::Close;
}

void fillInterim(FaultPlan& plan, Dice& dice)
{
    fillWhole(plan, dice);
    const std::string rest = statusLine(100) + "\r\n";
    plan.steps.insert(plan.steps.begin(), {shortPause(dice), statusLine(103) + "X-Interim: yes\r\n\r\n" + rest});
    if (plan.run.isSparing) {
        // Who takes the first answer for the final one waits for the end of its body.
        announceClose(plan);
    }
    if (Quirks::kTakesInterimForFinal) {
        plan.status = 103;
        plan.body = rest + plan.steps.back().bytes;
    }
}

void fillSlow(FaultPlan& plan, Dice& dice)
{
    plan.body = bodyOf(dice, 1 + dice.SizeBelow(100));
    for (const char byte : headOf(plan) + plan.body) {
        plan.steps.push_back({milliseconds(dice.Below(5)), std::string(1, byte)});
    }
}

/// Stops before the headers or within the body, and goes on or not.
void fillStall(FaultPlan& plan, Dice& dice)
{
    plan.body = bodyOf(dice, 10);
    const std::string whole = headOf(plan) + plan.body;
    const std::size_t place = dice.OneIn(2) ? 0 : whole.size() - 5;
    plan.steps = {{milliseconds(0), whole.substr(0, place)}, {stallTime(dice), ""}};
    if (dice.OneIn(2)) {
        plan.steps.push_back({milliseconds(0), whole.substr(place)});
    } else {
        plan.end = dice.OneIn(2) ? End::Close : End::Reset;
        cutOff(plan, place, headOf(plan).size());
    }
}

/// Ends at any place before the answer is complete.
void fillCutOff(FaultPlan& plan, Dice& dice, End end)
{
    plan.body = bodyOf(dice, 1 + dice.Size(kBodyBits));
    const std::size_t headSize = headOf(plan).size();
    const std::string whole = headOf(plan) + plan.body;
    std::size_t place = dice.OneIn(3) ? 0 : dice.SizeBelow(whole.size());
    if (plan.run.isSparing && end == End::Reset && place > 0) {
        place = std::max(place, headSize);
    }
    plan.steps = {{shortPause(dice), whole.substr(0, place)}, {shortPause(dice), ""}};
    plan.end = end;
    cutOff(plan, place, headSize);
}

void fillReset(FaultPlan& plan, Dice& dice)
{
    fillCutOff(plan, dice, End::Reset);
}

void fillTruncated(FaultPlan& plan, Dice& dice)
{
    fillCutOff(plan, dice, End::Close);
}

void fillCutChunk(FaultPlan& plan, Dice& dice)
{
    const std::string part = bodyOf(dice, 10);
    const std::string head = statusLine(200) + "Transfer-Encoding: chunked\r\n\r\n";
    plan.steps = {{shortPause(dice), head + "400\r\n" + part}};
    plan.end = dice.OneIn(2) ? End::Close : End::Reset;
    plan.body = part;
    cutOff(plan, plan.steps.front().bytes.size(), head.size());
}

/// The first byte is none with which an answer begins.
void fillGarbage(FaultPlan& plan, Dice& dice)
{
    plan.steps = {{shortPause(dice), "\x01" + dice.Bytes(dice.Size(kBodyBits))}};
    plan.end = dice.OneIn(2) || plan.run.isSparing ? End::Close : End::Reset;
    breakWith(plan, {kInvalidResponse});
    if (Quirks::kTakesAnyLineForStatus) {
        plan.verdict = Verdict::Anything;
    }
}

/// Answers that are nearly HTTP.
void fillOddity(FaultPlan& plan, Dice& dice)
{
    const std::string oddities[] = {
        "HTTP/1.1 2OO OK\r\n\r\n",
        "HTTP/9.9 200 OK\r\nContent-Length: 0\r\n\r\n",
        "HTTP/1.1 999 Odd\r\nContent-Length: 2\r\n\r\nab",
        statusLine(200) + "Content-Length: -5\r\n\r\nabcde",
        statusLine(200) + "Content-Length: 99999999999999999999999999\r\n\r\nab",
        statusLine(200) + "Content-Length: 3\r\nContent-Length: 7\r\n\r\nabcdefg",
        statusLine(200) + "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nabcde\r\n0\r\n\r\n",
        statusLine(200) + "Transfer-Encoding: chunked\r\n\r\nxyz\r\nabc\r\n",
        statusLine(200) + "Transfer-Encoding: chunked\r\n\r\nFFFFFFFFFFFFFFFFF\r\nabc\r\n",
        statusLine(200) + "no separator in this line\r\n" + contentLength(0) + "\r\n",
        statusLine(200) + "X-Nul: a" + std::string(1, '\0') + "b\r\n" + contentLength(0) + "\r\n",
        statusLine(200) + " folded before anything\r\n" + contentLength(0) + "\r\n",
        statusLine(200) + ": no name\r\n" + contentLength(0) + "\r\n",
        statusLine(200) + "Content-Encoding: gzip\r\n" + contentLength(3) + "\r\nabc",
        statusLine(302) + "Location: http://[::1\r\n" + contentLength(0) + "\r\n",
        statusLine(302) + "Location: ftp://127.0.0.1/\r\n" + contentLength(0) + "\r\n",
        statusLine(101) + "Upgrade: other\r\n\r\n" + dice.Bytes(20),
        "\r\n\r\n" + statusLine(200) + contentLength(0) + "\r\n",
    };
    plan.steps = {{shortPause(dice), oddities[dice.Below(std::size(oddities))]}};
    plan.end = End::Close;
    if (plan.run.isSparing) {
        announceClose(plan);
    }
    // What is taken for the beginning of an answer is cut off by the end; a redirect may lead nowhere.
    breakWith(plan, {kInvalidResponse, kConnectionError, kNameNotResolved, kRedirectFailed});
    if (Quirks::kFailsWherePostBecomesGet) {
        plan.failures.push_back(failureOf(kIncorrectHandleState));
    }
    plan.verdict = Verdict::Anything;
}

/// More headers than anybody needs: some are delivered, some are more than the transport takes.
void fillHugeHeaders(FaultPlan& plan, Dice& dice)
{
    std::string lines;
    if (dice.OneIn(2)) {
        lines = "X-Huge: " + std::string(dice.Size(18), 'h') + "\r\n";
    } else {
        const std::uint64_t most = plan.run.isSparing ? kMostSparingHeaders : kMostHeaders;
        for (std::uint64_t count = dice.Below(most); count > 0; --count) {
            lines += "X-Header-" + std::to_string(count) + ": " + std::string(dice.SizeBelow(200), 'v') + "\r\n";
        }
    }
    plan.body = bodyOf(dice, 10);
    plan.steps = {{shortPause(dice), statusLine(200) + lines + contentLength(plan.body.size()) + "\r\n" + plan.body}};
    if (lines.size() > kTakenHeaders && Quirks::kBoundsHeaders) {
        // The second is what some versions of libcurl say of a line that is too long for them.
        plan.failures = {failureOf(kInvalidResponse), failureOf(kNotEnoughMemory)};
    }
}

/// The answer comes before the request's body was read; then the connection ends, one way or the other.
void fillEarly(FaultPlan& plan, Dice& dice)
{
    plan.status = 413;
    plan.body = "early";
    plan.steps = {{milliseconds(0), statusLine(413) + kConnectionClose + contentLength(5) + "\r\nearly"},
                  {milliseconds(dice.Below(100)), ""}};
    plan.end = dice.OneIn(2) ? End::Close : End::Reset;
    plan.isEarly = true;
    plan.failures = {failureOf(kConnectionError)};
}

/// More bytes than were announced, which nobody asked for. They come in one piece with the answer, or nobody could tell
/// them from the answer to the connection's next request.
void fillSpare(FaultPlan& plan, Dice& dice)
{
    plan.body = bodyOf(dice, dice.SizeBelow(1000));
    const std::string spare = statusLine(200) + contentLength(5) + "\r\nspare";
    plan.steps = {{shortPause(dice), headOf(plan) + plan.body + spare}};
    if (plan.run.isSparing) {
        announceClose(plan);
    }
    if (Quirks::kTakesSpareBytesForBody && !plan.body.empty()) {
        plan.body += spare;
    }
}

void fillRedirect(FaultPlan& plan, Dice& dice)
{
    constexpr int kStatuses[] = {301, 302, 303, 307, 308};
    plan.status = kStatuses[dice.Below(std::size(kStatuses))];
    plan.redirect = dice.OneIn(4) ? FaultPlan::Redirect::Endless : FaultPlan::Redirect::ToWhole;
    const std::string target = plan.redirect == FaultPlan::Redirect::Endless
                                   ? pathOf(plan.run, plan.number)
                                   : pathIn(kWholeFolder, plan.run, plan.number);
    plan.steps = {
        {shortPause(dice), statusLine(plan.status) + "Location: " + target + "\r\n" + contentLength(0) + "\r\n"}};
}

struct Kind {
    const char* name;
    std::uint64_t weight;
    void (*fill)(FaultPlan& plan, Dice& dice);
};

constexpr Kind kKinds[] = {
    {"whole answer", 30, fillWhole},
    {"answer without body", 3, fillWithoutBody},
    {"chunked answer", 8, fillChunked},
    {"answer until the close", 6, fillUntilClose},
    {"interim answers first", 4, fillInterim},
    {"slow bytes", 5, fillSlow},
    {"stall", 8, fillStall},
    {"reset", 8, fillReset},
    {"truncation", 8, fillTruncated},
    {"cut chunk", 4, fillCutChunk},
    {"garbage", 4, fillGarbage},
    {"nearly HTTP", 5, fillOddity},
    {"huge headers", 4, fillHugeHeaders},
    {"early answer", 4, fillEarly},
    {"spare answer", 3, fillSpare},
    {"redirect", 5, fillRedirect},
};

std::size_t chooseKind(Dice& dice)
{
    std::uint64_t sum = 0;
    for (const Kind& kind : kKinds) {
        sum += kind.weight;
    }
    std::uint64_t place = dice.Below(sum);
    std::size_t chosen = 0;
    while (place >= kKinds[chosen].weight) {
        place -= kKinds[chosen].weight;
        ++chosen;
    }
    return chosen;
}

} // namespace

FaultPlan::Failure failureOf(int platformCode)
{
    return {LumNetworking::LumNetworkingErrorCode::kReceiveFailed, platformCode};
}

FaultPlan makeFaultPlan(const FaultRun& run, std::uint64_t number)
{
    Dice dice(run.seed + number);
    FaultPlan plan;
    plan.run = run;
    plan.number = number;
    plan.kind = chooseKind(dice);
    kKinds[plan.kind].fill(plan, dice);
    return plan;
}

FaultPlan makeWholePlan(const FaultRun& run, std::uint64_t number)
{
    Dice dice(~(run.seed + number));
    FaultPlan plan;
    plan.run = run;
    plan.number = number;
    fillWhole(plan, dice);
    return plan;
}

std::string pathOf(const FaultRun& run, std::uint64_t number)
{
    return pathIn(run.isSparing ? kSparingFolder : kAnyFolder, run, number);
}

FaultPlan makePlanOfPath(const std::string& path)
{
    const std::size_t folderEnd = path.find('/', 1) + 1;
    const std::string folder = path.substr(0, folderEnd);
    char* seedEnd = nullptr;
    FaultRun run;
    run.seed = std::strtoull(path.c_str() + folderEnd, &seedEnd, 10);
    run.isSparing = folder == kSparingFolder;
    const std::uint64_t number = *seedEnd == '/' ? std::strtoull(seedEnd + 1, nullptr, 10) : 0;
    return folder == kWholeFolder ? makeWholePlan(run, number) : makeFaultPlan(run, number);
}

FaultPlan makeProxiedPlan(std::uint64_t seed, std::uint64_t number)
{
    constexpr std::uint64_t kLongestPause = 200;
    Dice dice(seed + number);
    FaultPlan plan;
    plan.number = number;
    plan.status = dice.OneIn(4) ? 503 : 200;
    plan.steps = {{dice.OneIn(2) ? shortPause(dice) : milliseconds(dice.Below(kLongestPause)), ""}};
    if (dice.OneIn(4)) {
        plan.hostFault = number % 2 == 0 ? FaultPlan::HostFault::Throws : FaultPlan::HostFault::HalfCharacter;
    }
    // Text, as it passes through UTF-16.
    const std::string text = std::to_string(dice.Next());
    for (std::size_t length = dice.Size(kBodyBits); length > 0; --length) {
        plan.body += text[length % text.size()];
    }
    const bool isHalf = plan.hostFault == FaultPlan::HostFault::HalfCharacter;
    // What takes its place where it can be encoded.
    plan.body += isHalf ? "?" : "";
    if (plan.hostFault == FaultPlan::HostFault::Throws || (isHalf && kRefusesUnpairedSurrogates)) {
        plan.verdict = Verdict::Broken;
        plan.failures = {{LumNetworking::LumNetworkingErrorCode::kOpenFailed, std::nullopt}};
    }
    return plan;
}

FaultPlan makeExpectation(const FaultRun& run, std::uint64_t number, bool followsRedirects)
{
    FaultPlan plan = makeFaultPlan(run, number);
    if (!followsRedirects || plan.redirect == FaultPlan::Redirect::None || !Quirks::isFollowed(plan.status)) {
        return plan;
    }
    const bool becomesGet = plan.status == 301 || plan.status == 302;
    if (plan.redirect == FaultPlan::Redirect::ToWhole) {
        plan = makeWholePlan(run, number);
    } else {
        breakWith(plan, {kRedirectFailed});
    }
    if (becomesGet && Quirks::kFailsWherePostBecomesGet) {
        plan.failures.push_back(failureOf(kIncorrectHandleState));
    }
    return plan;
}

std::string beginningPath(std::uint64_t seed)
{
    return kBeginningFolder + std::to_string(seed);
}

std::optional<std::uint64_t> seedOfBeginning(const std::string& path)
{
    const std::string folder = kBeginningFolder;
    if (path.compare(0, folder.size(), folder) != 0) {
        return std::nullopt;
    }
    return std::strtoull(path.c_str() + folder.size(), nullptr, 10);
}

PortKind kindOfPort(std::size_t index)
{
    return index < kFirstRough ? PortKind::Steady : index < kFirstChanging ? PortKind::Rough : PortKind::Changing;
}

const std::vector<std::string>& faultNames()
{
    static const std::vector<std::string> names = [] {
        std::vector<std::string> list;
        std::transform(std::begin(kKinds), std::end(kKinds), std::back_inserter(list),
                       [](const Kind& kind) { return kind.name; });
        return list;
    }();
    return names;
}

} // namespace LumTests
