#include "Peers.h"

#include <uriparser/Uri.h>

#include <memory>

namespace LumBench {

namespace {

/// The parameters of a query, which uriparser leaves as one text unless it is told.
class Query {
public:
    explicit Query(const UriTextRangeA& text)
    {
        uriDissectQueryMallocExA(&list, &count, text.first, text.afterLast, URI_FALSE, URI_BR_DONT_TOUCH);
    }
    ~Query() { uriFreeQueryListA(list); }
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;

    std::string Compose() const
    {
        int length = 0;
        uriComposeQueryCharsRequiredExA(list, &length, URI_FALSE, URI_FALSE);
        std::string text(static_cast<std::size_t>(length) + 1, '\0');
        int written = 0;
        uriComposeQueryExA(text.data(), list, length + 1, &written, URI_FALSE, URI_FALSE);
        text.resize(static_cast<std::size_t>(written) - 1);
        return text;
    }

private:
    UriQueryListA* list = nullptr;
    int count = 0;
};

/// What was read, with the text that it points into.
class Parsed {
public:
    explicit Parsed(const std::string& newText) : text(newText)
    {
        isValid = uriParseSingleUriExA(&uri, text.data(), text.data() + text.size(), nullptr) == URI_SUCCESS;
    }
    ~Parsed()
    {
        if (isValid) {
            uriFreeUriMembersA(&uri);
        }
    }
    Parsed(const Parsed&) = delete;
    Parsed& operator=(const Parsed&) = delete;

    bool IsValid() const { return isValid; }
    const UriTextRangeA& QueryText() const { return uri.query; }

    std::size_t Print(const UriUriA& printed) const
    {
        int length = 0;
        uriToStringCharsRequiredA(&printed, &length);
        std::string out(static_cast<std::size_t>(length) + 1, '\0');
        int written = 0;
        uriToStringA(out.data(), &printed, length + 1, &written);
        return static_cast<std::size_t>(written) - 1;
    }

    std::size_t Print() const { return Print(uri); }

    std::size_t PrintWith(const std::string& query) const
    {
        UriUriA changed = uri;
        changed.query = {query.data(), query.data() + query.size()};
        return Print(changed);
    }

private:
    std::string text;
    UriUriA uri{};
    bool isValid = false;
};

std::unique_ptr<Parsed> keptUrl;
std::unique_ptr<Query> keptQuery;

bool parse(const std::string& url)
{
    UriUriA uri;
    const bool isValid = uriParseSingleUriExA(&uri, url.data(), url.data() + url.size(), nullptr) == URI_SUCCESS;
    if (isValid) {
        uriFreeUriMembersA(&uri);
    }
    return isValid;
}

bool parseWithQuery(const std::string& url)
{
    UriUriA uri;
    if (uriParseSingleUriExA(&uri, url.data(), url.data() + url.size(), nullptr) != URI_SUCCESS) {
        return false;
    }
    const Query query(uri.query);
    uriFreeUriMembersA(&uri);
    return true;
}

bool open(const std::string& url)
{
    keptUrl = std::make_unique<Parsed>(url);
    keptQuery = std::make_unique<Query>(keptUrl->QueryText());
    return keptUrl->IsValid();
}

std::size_t print()
{
    return keptUrl->Print();
}

std::size_t printWithQuery()
{
    return keptUrl->PrintWith(keptQuery->Compose());
}

/// The library's components hold the parameters decoded, so the second peer does the same work.
[[maybe_unused]] const UrlPeer& registered = AllPeers().url.emplace_back(UrlPeer{"uriparser", parse, open, print});
[[maybe_unused]] const UrlPeer& registeredWithQuery =
    AllPeers().url.emplace_back(UrlPeer{"uriparser, with parameters", parseWithQuery, open, printWithQuery});

} // namespace

} // namespace LumBench
