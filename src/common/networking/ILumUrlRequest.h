#pragma once

#include "common/networking/HttpMethod.h"
#include "common/networking/UrlComponents.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace LumNetworking {

/// A request as the library's user describes it. ILumAsynchronousHttpClient::Send reads it once, on the thread that
/// calls it, and never changes it; the references need to live only until Send returns.
///
///     class Upload : public LumNetworking::ILumUrlRequest {
///     public:
///         const UrlComponents& GetUrlComponents() override { return url; }
///         HttpMethod GetMethod() override { return HttpMethod::Put; }
///         const std::map<std::string, std::string>& GetHeaders() override { return headers; }
///         const std::vector<std::uint8_t>& GetBody() override { return bytes; }
///         ...
///     };
///     client->Send(std::make_shared<Upload>(...), completion, true, 30);
///
/// The order of the operations is part of the binary interface.
class ILumUrlRequest {
public:
    virtual ~ILumUrlRequest() = default;

    virtual const UrlComponents& GetUrlComponents() = 0;
    virtual HttpMethod GetMethod() = 0;
    virtual const std::map<std::string, std::string>& GetHeaders() = 0;

    /// The body of a POST, PUT or PATCH; ignored for GET and DELETE.
    virtual const std::vector<std::uint8_t>& GetBody() = 0;
};

} // namespace LumNetworking
