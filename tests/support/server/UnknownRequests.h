#pragma once

#include <mutex>
#include <string>

namespace LumTestServer {

/// The request lines that name no path of the server. To a client that takes it for its proxy all are such.
class UnknownRequests {
public:
    void Add(const std::string& head)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        lines += head.substr(0, head.find("\r\n")) + "\n";
    }

    std::string Lines()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return lines;
    }

private:
    std::mutex mutex;
    std::string lines;
};

} // namespace LumTestServer
