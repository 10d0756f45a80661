#include "Peers.h"

#include <curl/curl.h>

#include <cstring>
#include <memory>

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

[[maybe_unused]] const UrlPeer& registered = AllPeers().url.emplace_back(UrlPeer{"curl", parse, open, print});

} // namespace

} // namespace LumBench
