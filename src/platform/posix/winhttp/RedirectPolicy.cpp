#include "platform/posix/winhttp/RedirectPolicy.h"

#include <curl/curl.h>

#include <memory>
#include <new>

namespace LumPlatform {

namespace {

constexpr long kMovedPermanently = 301;
constexpr long kFound = 302;
constexpr long kSeeOther = 303;
constexpr long kTemporaryRedirect = 307;
constexpr long kPermanentRedirect = 308;

using ParsedUrl = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

/// False if the text is no URL, or no reference to one. Throws std::bad_alloc.
bool parseInto(const ParsedUrl& parsed, const std::string& text)
{
    constexpr unsigned int kFlags = CURLU_URLENCODE | CURLU_ALLOW_SPACE | CURLU_PATH_AS_IS | CURLU_NON_SUPPORT_SCHEME;
    const CURLUcode result = curl_url_set(parsed.get(), CURLUPART_URL, text.c_str(), kFlags);
    if (result == CURLUE_OUT_OF_MEMORY) {
        throw std::bad_alloc();
    }
    return result == CURLUE_OK;
}

ParsedUrl newUrl()
{
    ParsedUrl parsed(curl_url(), curl_url_cleanup);
    if (!parsed) {
        throw std::bad_alloc();
    }
    return parsed;
}

/// Empty if the URL has no such part. Throws std::bad_alloc.
std::string partOf(const ParsedUrl& parsed, CURLUPart part)
{
    char* found = nullptr;
    const CURLUcode result = curl_url_get(parsed.get(), part, &found, CURLU_DEFAULT_PORT);
    const std::unique_ptr<char, decltype(&curl_free)> text(found, curl_free);
    if (result == CURLUE_OUT_OF_MEMORY) {
        throw std::bad_alloc();
    }
    return result == CURLUE_OK ? text.get() : std::string();
}

} // namespace

bool isRedirect(long status)
{
    return status == kMovedPermanently || status == kFound || status == kSeeOther || status == kTemporaryRedirect ||
           status == kPermanentRedirect;
}

bool becomesGet(long status, std::string_view verb)
{
    return status == kSeeOther || (verb == "POST" && (status == kMovedPermanently || status == kFound));
}

std::string redirectTarget(const std::string& url, std::string_view location)
{
    const ParsedUrl target = newUrl();
    if (!parseInto(target, url) || !parseInto(target, std::string(location))) {
        return {};
    }
    for (const CURLUPart part : {CURLUPART_USER, CURLUPART_PASSWORD, CURLUPART_OPTIONS, CURLUPART_FRAGMENT}) {
        curl_url_set(target.get(), part, nullptr, 0);
    }
    return partOf(target, CURLUPART_URL);
}

bool haveSameOrigin(const std::string& left, const std::string& right)
{
    const ParsedUrl first = newUrl();
    const ParsedUrl second = newUrl();
    if (!parseInto(first, left) || !parseInto(second, right)) {
        return false;
    }
    for (const CURLUPart part : {CURLUPART_SCHEME, CURLUPART_HOST, CURLUPART_PORT}) {
        if (partOf(first, part) != partOf(second, part)) {
            return false;
        }
    }
    return true;
}

} // namespace LumPlatform
