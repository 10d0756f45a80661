#include "Windows/networking/WinHttpClientAsync.h"

#include <future>
#include <iostream>

/// Fetches one page and prints it, or says why there is none.
void fetchPage(const std::string& url)
{
    std::promise<void> done;
    LumNetworking::WinHttpClientAsync client(nullptr);
    const auto transaction = client.Get(
        url, {{"Accept", "text/html"}},
        [&done](LumNetworking::HttpRequestResult result, auto response, auto error, auto) {
            switch (result) {
            case LumNetworking::HttpRequestResult::SUCCESS:
                std::cout << response->statusCode << '\n' << response->body << '\n';
                break;
            case LumNetworking::HttpRequestResult::FAILED:
                std::cout << error->getDescription() << '\n';
                break;
            case LumNetworking::HttpRequestResult::CANCELLED:
                break;
            }
            done.set_value();
        },
        true, 30);
    if (transaction) { // empty if the URL was refused: then there is no completion
        done.get_future().wait();
    }
}
