#include "Peers.h"

#include <uriparser/Uri.h>

namespace LumBench {

namespace {

/// What was read, with the text that it points into.
struct Parsed {
    std::string text;
    UriUriA uri{};
    bool isThere = false;

    ~Parsed() { Forget(); }

    void Forget()
    {
        if (isThere) {
            uriFreeUriMembersA(&uri);
        }
        isThere = false;
    }
};

Parsed& kept()
{
    static Parsed parsed;
    return parsed;
}

bool parse(const std::string& url)
{
    UriUriA uri;
    const bool isParsed = uriParseSingleUriExA(&uri, url.data(), url.data() + url.size(), nullptr) == URI_SUCCESS;
    if (isParsed) {
        uriFreeUriMembersA(&uri);
    }
    return isParsed;
}

bool open(const std::string& url)
{
    Parsed& parsed = kept();
    parsed.Forget();
    parsed.text = url;
    parsed.isThere = uriParseSingleUriExA(&parsed.uri, parsed.text.data(), parsed.text.data() + parsed.text.size(),
                                          nullptr) == URI_SUCCESS;
    return parsed.isThere;
}

std::size_t print()
{
    int length = 0;
    uriToStringCharsRequiredA(&kept().uri, &length);
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    int written = 0;
    uriToStringA(text.data(), &kept().uri, length + 1, &written);
    return static_cast<std::size_t>(written) - 1;
}

[[maybe_unused]] const UrlPeer& registered = AllPeers().url.emplace_back(UrlPeer{"uriparser", parse, open, print});

} // namespace

} // namespace LumBench
