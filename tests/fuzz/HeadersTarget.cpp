#include "Windows/networking/LibLumNetworkingWinUtils.h"
#include "common/utils/LumTextUtils.h"
#include "fuzz/FieldModel.h"
#include "fuzz/FuzzTargets.h"
#include "fuzz/HostileText.h"
#include "support/ScriptedPlatform.h"

#include <memory>

/// The input is the header block that the platform has of a response; see hostileText.
void LumFuzz::headers(std::string_view input)
{
    using namespace LumNetworking::LibLumNetworkingWinUtils;
    LumTests::ScriptedPlatform platform;
    platform.headerBlock = hostileText(input);
    const HINTERNET request = platform.open("request");
    FieldModel model;
    model.AddBlock(LumUtils::utf16ToUtf8(LumUtils::WideString(platform.headerBlock)));

    std::unique_ptr<LumUtils::ILumError> error;
    expect(GetResponseHeaders(nullptr, request, error) == model.Fields(), "the fields are those of the block");
    expect(error == nullptr, "a block that was read is no error");
    LumNetworking::HttpResponse response;
    expect(ReadResponseHeaders(nullptr, request, response, error), "a block that was read is no failure");
    expect(response.headers.size() == model.Fields().size(), "the response has as many fields");
    for (const auto& [name, value] : model.Fields()) {
        const auto found = response.headers.find(name);
        expect(found != response.headers.end() && found->second == std::vector<std::string>{value},
               "the response has the field with this value only: " + name);
    }
    expect(platform.misuses().empty(), "the platform is called as it must be");
}
