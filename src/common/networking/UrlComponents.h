#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace LumNetworking {

/// The parsed form of an http or https URL.
/// Its operations throw std::bad_alloc, and nothing else.
///
///     LumNetworking::UrlComponents url;
///     if (LumNetworking::ParseUrl("https://example.org:8443/a?q=x%20y", url) == LumNetworking::UrlParseStatus::Parsed)
///     {
///         // url.host == "example.org", url.port == 8443, url.path == "/a", url.queryParameters["q"] == "x y"
///     }
struct UrlComponents {
    /// The value of `port` that says that none was given: the transport then uses the default port of the scheme.
    static constexpr std::uint32_t kNoPort = 0xFFFFFFFFU;

    /// True for https, false for http.
    bool isSecure = false;

    /// A host name, a dotted IPv4 address or an IPv6 literal with its brackets; UTF-8.
    std::string host;

    /// The path as it goes on the wire, percent-encoded where the caller encoded it; may be empty.
    std::string path;

    /// 1 to 65535, or kNoPort. A request takes 0 for the scheme's default too, and fails with code 6 for any other
    /// number.
    std::uint32_t port = kNoPort;

    /// The query parameters, decoded, one value per key.
    std::map<std::string, std::string> queryParameters;

    /// The URL as text. A port outside 1 to 65535 prints nothing; a path that does not begin with "/" gets one; keys
    /// and values of the query are percent-encoded.
    std::string GetUrl() const;

    /// The part of GetUrl after host and port: path, then "?" and the encoded query parameters, if there are any.
    std::string GetPathAndQuery() const;
};

/// The result of ParseUrl.
enum class UrlParseStatus : std::int32_t {
    Parsed = 0,
    /// There is no "://" in the text.
    MissingScheme = 1,
    /// The scheme is neither http nor https.
    UnsupportedScheme = 2,
    /// The text is empty, host and port are empty or malformed, the host is invalid (in brackets there is anything but
    /// an IPv6 address without a zone), or the port is not a decimal number from 1 to 65535.
    InvalidAuthority = 4,
};

/// Parses any byte string; never throws but for allocation failure. On failure `out` stays as it was.
///
/// A fragment is dropped. The query becomes one value per key, so a request does not send it as it was written:
///
///     ParseUrl("https://example.org/s?q=a+b&id=2&id=1&flag", url); // {"flag", ""}, {"id", "1"}, {"q", "a+b"}
///     url.GetPathAndQuery();                                       // "/s?flag=&id=1&q=a%2Bb"
///
/// - the parameters are sent in the order of their keys;
/// - of several with one key the last wins;
/// - one without "=" is sent with "=" and an empty value;
/// - "+" is a plus, which is sent as "%2B": write a blank as "%20";
/// - all but letters, digits, "-", "_", ".", "~" is sent percent-encoded, whether or not it was written so; a "%" that
///   is not followed by two hexadecimal digits stands for itself, and is sent as "%25".
///
/// A server that needs another form of query can be given it as part of the path, for which use UrlComponents instead
/// of text: `path` is sent as it is, also with a "?" in it.
UrlParseStatus ParseUrl(const std::string& url, UrlComponents& out);

} // namespace LumNetworking
