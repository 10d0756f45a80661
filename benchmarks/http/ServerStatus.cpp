#include "ServerStatus.h"

#include <sstream>
#include <stdexcept>

namespace LumBench {

ServerStatus::ServerStatus(const std::string& url) : handle(MakeEasyHandle(url, response)) {}

std::uint64_t ServerStatus::AcceptedConnections()
{
    response = EasyResponse();
    curl_easy_perform(handle.get());
    // Active connections: 1
    // server accepts handled requests
    //  7 7 42
    std::istringstream text(response.body);
    std::string line;
    std::getline(text, line);
    std::getline(text, line);
    std::uint64_t accepted = 0;
    if (!(text >> accepted)) {
        throw std::runtime_error("the server does not tell its connections: " + response.body);
    }
    return accepted;
}

} // namespace LumBench
