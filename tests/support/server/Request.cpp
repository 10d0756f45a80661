#include "support/server/Request.h"

#include <cctype>
#include <charconv>

namespace LumTestServer {

namespace {

std::uint64_t toNumber(const std::string& text, std::uint64_t otherwise)
{
    std::uint64_t number = otherwise;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

std::string percentDecode(const std::string& text)
{
    std::string decoded;
    for (std::size_t index = 0; index < text.size(); ++index) {
        unsigned int byte = 0;
        const char* const digits = text.data() + index + 1;
        if (text[index] == '%' && index + 2 < text.size() &&
            std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
            decoded += static_cast<char>(byte);
            index += 2;
        } else {
            decoded += text[index];
        }
    }
    return decoded;
}

std::map<std::string, std::string> parseQuery(const std::string& text)
{
    std::map<std::string, std::string> query;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = std::min(text.find('&', start), text.size());
        const std::string pair = text.substr(start, end - start);
        const std::size_t equals = pair.find('=');
        query[percentDecode(pair.substr(0, equals))] =
            equals == std::string::npos ? std::string() : percentDecode(pair.substr(equals + 1));
        start = end + 1;
    }
    return query;
}

std::string lowerCase(std::string text)
{
    for (char& character : text) {
        character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    }
    return text;
}

/// The value of a header field, or nothing.
std::string headerValue(const std::string& lowerHead, const std::string& lowerName)
{
    const std::size_t name = lowerHead.find("\r\n" + lowerName + ":");
    if (name == std::string::npos) {
        return {};
    }
    const std::size_t start = lowerHead.find_first_not_of(" \t", name + lowerName.size() + 3);
    return lowerHead.substr(start, lowerHead.find("\r\n", start) - start);
}

} // namespace

std::string Request::Text(const std::string& key, const std::string& otherwise) const
{
    const auto found = query.find(key);
    return found == query.end() ? otherwise : found->second;
}

std::uint64_t Request::Number(const std::string& key, std::uint64_t otherwise) const
{
    return toNumber(Text(key), otherwise);
}

Request parseRequest(std::string head)
{
    Request request;
    const std::string line = head.substr(0, head.find("\r\n"));
    const std::size_t methodEnd = line.find(' ');
    const std::size_t targetEnd = line.rfind(' ');
    if (methodEnd != std::string::npos && targetEnd > methodEnd) {
        const std::string target = line.substr(methodEnd + 1, targetEnd - methodEnd - 1);
        const std::size_t question = target.find('?');
        request.method = line.substr(0, methodEnd);
        request.path = target.substr(0, question);
        if (question != std::string::npos) {
            request.query = parseQuery(target.substr(question + 1));
        }
    }
    const std::string lowerHead = lowerCase(head);
    request.contentLength = toNumber(headerValue(lowerHead, "content-length"), 0);
    request.wantsClose = headerValue(lowerHead, "connection") == "close";
    request.head = std::move(head);
    return request;
}

} // namespace LumTestServer
