#include "NarrowEncoding.h"
#include "Windows/Cli/networking/HttpClientCliAdapter.h"
#include "Windows/Cli/utils/ManagedException.h"
#include "fuzz/FieldModel.h"
#include "fuzz/FuzzTargets.h"
#include "fuzz/HostileText.h"
#include "peers/NarrowPeer.h"
#include "support/FakeManagedHost.h"

#include <memory>
#include <optional>
#include <utility>

namespace {

using LumNetworkingCli::HttpClientCliAdapter;
using namespace LumTests;

/// What the managed half answers: the body, then a line for each header. A line "null" is the null reference.
FakeResponse answerOf(std::string_view input)
{
    FakeResponse answer;
    std::vector<std::optional<std::u16string>> lines;
    while (true) {
        const std::string_view line = input.substr(0, input.find('\n'));
        lines.push_back(line == "null" ? std::nullopt : std::optional<std::u16string>(LumFuzz::hostileText(line)));
        if (line.size() == input.size()) {
            break;
        }
        input.remove_prefix(line.size() + 1);
    }
    answer.body = lines.front();
    lines.erase(lines.begin());
    answer.headers = std::move(lines);
    return answer;
}

/// What the library must make of an answer: the response, or the exception of the first part that is none.
struct Expected {
    std::string exception;
    std::string body;
    LumFuzz::FieldModel headers;

    /// Nothing if the text has an exception.
    std::optional<std::string> Native(const std::optional<std::u16string>& text)
    {
        if (!text) {
            exception = "System.ArgumentNullException";
            return std::nullopt;
        }
        const std::optional<std::string> native =
            toJapaneseTextByPeer(LumUtils::WideString(text->begin(), text->end()));
        if (!native) {
            exception = "System.ArgumentException";
        }
        return native;
    }

    explicit Expected(const FakeResponse& answer)
    {
        const std::optional<std::string> nativeBody = Native(answer.body);
        if (!nativeBody) {
            return;
        }
        body = *nativeBody;
        for (const std::optional<std::u16string>& line : *answer.headers) {
            const std::optional<std::string> native = Native(line);
            if (!native) {
                return;
            }
            headers.AddLine(*native);
        }
    }
};

/// The type of the exception that the code throws, or an empty text. It ends the handle.
template <typename Code>
std::string thrownBy(FakeManagedHost& host, Code code)
{
    try {
        code();
    } catch (const LumUtilsCli::ManagedException& exception) {
        return host.takeException(exception.Release())->type;
    }
    return {};
}

} // namespace

/// The input is what a managed client answers; see answerOf.
void LumFuzz::boundary(std::string_view input)
{
    const JapaneseTexts encoding;
    const FakeResponse answer = answerOf(input);
    const Expected expected(answer);
    FakeManagedHost host;
    const auto client = std::make_shared<FakeSocksClient>();
    client->answer(answer);
    {
        const HttpClientCliAdapter adapter(host.lend(client));
        HttpClientCliAdapter::HttpResponse response;
        const std::string exception = thrownBy(host, [&] {
            response = adapter.SendAndGetResponse("GET", "http://host/", {{"A", "1"}}, "body");
        });
        expect(exception == expected.exception, "text that cannot cross throws: " + exception);
        if (exception.empty()) {
            expect(response.body == expected.body, "the body comes over");
            expect(response.headers == expected.headers.Fields(), "the headers are those of the lines");
        }
    }
    expect(host.nativeHandles() == 0, "every handle is let go");
}
