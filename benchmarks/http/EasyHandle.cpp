#include "EasyHandle.h"

#include <new>

namespace LumBench {

namespace {

std::size_t collectHeader(const char* bytes, std::size_t size, std::size_t count, void* response)
{
    static_cast<EasyResponse*>(response)->headers.append(bytes, size * count);
    return size * count;
}

std::size_t collectBody(const char* bytes, std::size_t size, std::size_t count, void* target)
{
    auto& response = *static_cast<EasyResponse*>(target);
    if (response.expectedSize > response.body.capacity()) {
        response.body.reserve(response.expectedSize);
    }
    response.body.append(bytes, size * count);
    return size * count;
}

} // namespace

EasyHandle MakeEasyHandle(const std::string& url, EasyResponse& response)
{
    EasyHandle handle(curl_easy_init());
    if (!handle) {
        throw std::bad_alloc();
    }
    curl_easy_setopt(handle.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle.get(), CURLOPT_HEADERFUNCTION, collectHeader);
    curl_easy_setopt(handle.get(), CURLOPT_HEADERDATA, &response);
    curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, collectBody);
    curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &response);
    return handle;
}

long EasyStatus(CURL* handle)
{
    long status = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    return status;
}

} // namespace LumBench
