#include "Peers.h"

#include <curl/curl.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace LumBench {

namespace {

using Handle = std::unique_ptr<CURLU, void (*)(CURLU*)>;

Handle opened(const std::string& url)
{
    Handle handle(curl_url(), curl_url_cleanup);
    return curl_url_set(handle.get(), CURLUPART_URL, url.c_str(), 0) == CURLUE_OK ? std::move(handle)
                                                                                  : Handle(nullptr, curl_url_cleanup);
}

Handle& kept()
{
    static Handle handle(nullptr, curl_url_cleanup);
    return handle;
}

bool parse(const std::string& url)
{
    return opened(url) != nullptr;
}

bool open(const std::string& url)
{
    kept() = opened(url);
    return kept() != nullptr;
}

std::size_t print()
{
    char* text = nullptr;
    curl_url_get(kept().get(), CURLUPART_URL, &text, 0);
    const std::size_t length = text == nullptr ? 0 : std::strlen(text);
    curl_free(text);
    return length;
}

struct FreeText {
    void operator()(char* text) const { curl_free(text); }
};

using Text = std::unique_ptr<char, FreeText>;
using Parameters = std::vector<std::pair<Text, Text>>;

Text unescaped(std::string_view text)
{
    return Text(curl_easy_unescape(nullptr, text.data(), static_cast<int>(text.size()), nullptr));
}

/// The decoded parameters of the query, which curl leaves as one text.
Parameters parametersOf(const Handle& handle)
{
    char* query = nullptr;
    curl_url_get(handle.get(), CURLUPART_QUERY, &query, 0);
    const Text kept(query);
    Parameters parameters;
    for (std::string_view rest = query == nullptr ? "" : query; !rest.empty();) {
        const std::string_view part = rest.substr(0, rest.find('&'));
        rest.remove_prefix(std::min(part.size() + 1, rest.size()));
        const std::size_t equals = std::min(part.find('='), part.size());
        parameters.emplace_back(unescaped(part.substr(0, equals)),
                                unescaped(part.substr(std::min(equals + 1, part.size()))));
    }
    return parameters;
}

bool parseWithParameters(const std::string& url)
{
    const Handle handle = opened(url);
    return handle != nullptr && !parametersOf(handle).empty();
}

[[maybe_unused]] const UrlPeer& registered = AllPeers().url.emplace_back(UrlPeer{"curl", parse, open, print});
[[maybe_unused]] const UrlPeer& registeredWithParameters =
    AllPeers().url.emplace_back(UrlPeer{"curl, with parameters", parseWithParameters, open, nullptr});

} // namespace

} // namespace LumBench
