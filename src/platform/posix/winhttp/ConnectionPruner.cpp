#include "platform/posix/winhttp/ConnectionPruner.h"

#include <new>

namespace LumPlatform {

namespace {

curl_socket_t openNoSocket(void* /*self*/, curlsocktype /*purpose*/, curl_sockaddr* /*address*/)
{
    return CURL_SOCKET_BAD;
}

} // namespace

ConnectionPruner::ConnectionPruner(CURLM* multiHandle) : multi(multiHandle), easy(curl_easy_init(), curl_easy_cleanup)
{
    if (!easy || curl_easy_setopt(easy.get(), CURLOPT_URL, "http://127.0.0.1:1/") != CURLE_OK ||
        curl_easy_setopt(easy.get(), CURLOPT_PROXY, "") != CURLE_OK) {
        throw std::bad_alloc();
    }
    curl_easy_setopt(easy.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy.get(), CURLOPT_OPENSOCKETFUNCTION, openNoSocket);
}

ConnectionPruner::~ConnectionPruner()
{
    OnEnded();
}

void ConnectionPruner::Start()
{
    if (state == State::Resting && curl_multi_add_handle(multi, easy.get()) == CURLM_OK) {
        state = State::Pruning;
    }
}

void ConnectionPruner::OnEnded()
{
    if (state == State::Pruning) {
        curl_multi_remove_handle(multi, easy.get());
        state = State::Resting;
    }
}

} // namespace LumPlatform
