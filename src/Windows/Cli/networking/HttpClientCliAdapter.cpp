#include "Windows/Cli/networking/HttpClientCliAdapter.h"

#include "Windows/Cli/utils/ManagedException.h"
#include "Windows/Cli/utils/ManagedText.h"
#include "common/utils/LumTextUtils.h"

#include <exception>
#include <utility>
#include <vector>

struct LumCliResponseReceiver {
    const LumCliHostTable& host;
    LumNetworkingCli::HttpClientCliAdapter::HttpResponse response;
    std::exception_ptr failure;
};

namespace LumNetworkingCli {

namespace {

using LumUtilsCli::ManagedText;

/// The headers as the managed half makes its dictionary of them.
class ManagedDictionary {
public:
    ManagedDictionary(const LumCliHostTable& host, const std::map<std::string, std::string>& headers)
    {
        texts.reserve(2 * headers.size());
        entries.reserve(headers.size());
        for (const auto& [name, value] : headers) {
            const LumCliText managedName = keep(ManagedText::Convert(host, name));
            entries.push_back(LumCliHeader{managedName, keep(ManagedText::Convert(host, value))});
        }
    }

    const LumCliHeader* Entries() const { return entries.data(); }
    std::int32_t Count() const { return static_cast<std::int32_t>(entries.size()); }

private:
    LumCliText keep(ManagedText text)
    {
        texts.push_back(std::move(text));
        return texts.back().View();
    }

    std::vector<ManagedText> texts;
    std::vector<LumCliHeader> entries;
};

/// Puts a line "name: value" into the headers. A line without colon is no header.
void takeHeaderLine(const std::string& line, std::map<std::string, std::string>& headers)
{
    const std::size_t colon = line.find(':');
    if (colon != std::string::npos) {
        headers[LumUtils::trimString(line.substr(0, colon))] = LumUtils::trimString(line.substr(colon + 1));
    }
}

/// Takes one part of a response. An exception must not reach the managed frames, and waits in the receiver.
template <typename Take>
std::int32_t receive(LumCliResponseReceiver& receiver, Take take)
{
    try {
        take(receiver.response);
        return 0;
    } catch (...) {
        receiver.failure = std::current_exception();
        return 1;
    }
}

} // namespace

HttpClientCliAdapter::HttpClientCliAdapter(const LumUtilsCli::ManagedReference& managedClient) : client(managedClient)
{
}

HttpClientCliAdapter::HttpResponse HttpClientCliAdapter::SendAndGetResponse(
    const std::string& method, const std::string& url, const std::map<std::string, std::string>& headers,
    const std::string& body) const
{
    const LumCliHostTable& host = client.Host();
    const ManagedText managedMethod = ManagedText::Convert(host, method);
    const ManagedText managedUrl = ManagedText::Convert(host, url);
    const ManagedDictionary dictionary(host, headers);
    const ManagedText payload = ManagedText::Convert(host, body);
    const LumCliRequest request{managedMethod.View(), managedUrl.View(),
                                body.empty() ? LumCliText{nullptr, 0} : payload.View(), dictionary.Entries(),
                                dictionary.Count()};
    LumCliResponseReceiver receiver{host, {}, nullptr};
    LumUtilsCli::callManaged(host, [&] { return host.sendAndGetResponse(client.Get(), &request, &receiver); });
    if (receiver.failure) {
        std::rethrow_exception(receiver.failure);
    }
    return std::move(receiver.response);
}

} // namespace LumNetworkingCli

std::int32_t LUM_CDECL LumCliReceiveStatus(LumCliResponseReceiver* receiver, std::int32_t statusCode)
{
    receiver->response.statusCode = statusCode;
    return 0;
}

std::int32_t LUM_CDECL LumCliReceiveBody(LumCliResponseReceiver* receiver, const LumCliChar* text, std::int32_t length)
{
    return LumNetworkingCli::receive(*receiver, [&](auto& response) {
        response.body = LumUtilsCli::toNativeText(receiver->host, {text, length});
    });
}

std::int32_t LUM_CDECL LumCliReceiveHeader(LumCliResponseReceiver* receiver, const LumCliChar* text,
                                           std::int32_t length)
{
    return LumNetworkingCli::receive(*receiver, [&](auto& response) {
        LumNetworkingCli::takeHeaderLine(LumUtilsCli::toNativeText(receiver->host, {text, length}), response.headers);
    });
}
