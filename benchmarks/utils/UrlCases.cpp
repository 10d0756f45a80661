#include "Cases.h"
#include "Peers.h"
#include "Stopwatch.h"
#include "common/networking/UrlComponents.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace LumBench {

namespace {

using LumNetworking::ParseUrl;
using LumNetworking::UrlComponents;
using LumNetworking::UrlParseStatus;

/// 95 characters, in an order that printing keeps.
const std::string kUrl =
    "https://api.example.com:8443/clients/v2/list?cursor=eyJpZCI6NDJ9&folder=Team%20Reports&limit=50";

constexpr double kGoal = 2;
constexpr double kNano = 1e9;

UrlComponents parsed()
{
    UrlComponents components;
    if (ParseUrl(kUrl, components) != UrlParseStatus::Parsed || components.GetUrl() != kUrl) {
        throw std::runtime_error("the URL does not come back from the library");
    }
    return components;
}

/// The limits come last, and have no goal.
void measure(const std::string& caseName, std::vector<Contestant> contestants, const std::vector<Contestant>& limits,
             const BenchOptions& options, BenchReport& report)
{
    if (!options.WantsCase(caseName)) {
        return;
    }
    const std::size_t withGoal = contestants.size();
    contestants.insert(contestants.end(), limits.begin(), limits.end());
    const std::vector<double> seconds = BestSeconds(contestants, options);
    for (std::size_t index = 1; index < contestants.size(); ++index) {
        report.AddLessIsBetter(caseName, contestants[index].name, "ns/call", seconds[0] * kNano, seconds[index] * kNano,
                               index < withGoal ? std::optional(kGoal) : std::nullopt);
    }
}

/// What parsing leaves behind, without any reading.
void fillIn(const UrlComponents& finished)
{
    UrlComponents components;
    components.host = finished.host;
    components.path = finished.path;
    auto& parameters = components.queryParameters;
    for (const auto& [key, value] : finished.queryParameters) {
        parameters.emplace_hint(parameters.end(), key, value);
    }
    Keep(&components);
}

/// What printing puts together, without any encoding.
std::string joined(const UrlComponents& components)
{
    char room[256];
    char* end = room;
    const auto add = [&end](std::string_view text) { end = std::copy(text.begin(), text.end(), end); };
    add("https://");
    add(components.host);
    add(":8443");
    add(components.path);
    for (const auto& [key, value] : components.queryParameters) {
        add("&");
        add(key);
        add("=");
        add(value);
    }
    return std::string(room, static_cast<std::size_t>(end - room));
}

} // namespace

void MeasureUrls(const BenchOptions& options, BenchReport& report)
{
    const UrlComponents components = parsed();
    std::vector<Contestant> parsers{{"ours", [] {
                                         UrlComponents out;
                                         ParseUrl(kUrl, out);
                                         Keep(&out);
                                     }}};
    std::vector<Contestant> printers{{"ours", [&] { Keep(components.GetUrl().data()); }}};
    for (const UrlPeer& peer : AllPeers().url) {
        if (!options.WantsPeer(peer.name)) {
            continue;
        }
        if (!peer.parse(kUrl) || !peer.open(kUrl) || (peer.print && peer.print() != kUrl.size())) {
            throw std::runtime_error("the URL does not come back from " + peer.name);
        }
        parsers.push_back({peer.name, [&peer] { peer.parse(kUrl); }});
        if (peer.print) {
            printers.push_back({peer.name, [&peer] { peer.print(); }});
        }
    }
    measure("ParseUrl", std::move(parsers), {{"filling in what is known, a limit", [&] { fillIn(components); }}},
            options, report);
    measure("GetUrl", std::move(printers),
            {{"its parts as they are, a limit", [&] { Keep(joined(components).data()); }},
             {"a copy of the whole, a limit", [] { Keep(std::string(kUrl).data()); }}},
            options, report);
}

} // namespace LumBench
