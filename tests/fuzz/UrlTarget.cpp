#include "common/networking/UrlComponents.h"
#include "fuzz/FuzzTargets.h"

namespace {

using LumNetworking::ParseUrl;
using LumNetworking::UrlComponents;
using LumNetworking::UrlParseStatus;

bool areEqual(const UrlComponents& left, const UrlComponents& right)
{
    return left.isSecure == right.isSecure && left.host == right.host && left.path == right.path &&
           left.port == right.port && left.queryParameters == right.queryParameters;
}

UrlComponents leftOver()
{
    UrlComponents components;
    components.host = "left over";
    components.port = 7;
    return components;
}

} // namespace

/// The input is the text of a URL.
void LumFuzz::url(std::string_view input)
{
    const std::string text(input);
    UrlComponents parsed = leftOver();
    if (ParseUrl(text, parsed) != UrlParseStatus::Parsed) {
        expect(areEqual(parsed, leftOver()), "a URL that is refused changes nothing");
        return;
    }
    const bool isPort = parsed.port == UrlComponents::kNoPort || (parsed.port >= 1 && parsed.port <= 65535);
    expect(isPort, "a port is one that there is");
    const std::string printed = parsed.GetUrl();
    UrlComponents again;
    expect(ParseUrl(printed, again) == UrlParseStatus::Parsed, "what is printed can be parsed: " + printed);
    expect(areEqual(again, parsed), "what is printed is parsed as the same URL: " + printed);
    expect(again.GetUrl() == printed, "the same URL is printed alike: " + printed);
    const std::string pathAndQuery = parsed.GetPathAndQuery();
    expect(printed.size() >= pathAndQuery.size() &&
               printed.compare(printed.size() - pathAndQuery.size(), std::string::npos, pathAndQuery) == 0,
           "the URL ends in its path and query: " + printed);
}
