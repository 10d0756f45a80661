#pragma once

#include "common/networking/ILumAsynchronousHttpClient.h"
#include "common/storage/LumFileManager.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace LumDesktop {

/// One of the two ways to a file.
struct Leg {
    bool isDone = false;
    std::int32_t status = 0;
    std::string body;
    /// Why there is no response; empty if there is one.
    std::string failure;
};

/// One file, fetched directly and through the proxy at the same time. When both have come it compares them, and stores
/// what is the same.
class Fetch : public std::enable_shared_from_this<Fetch> {
public:
    /// Stores the file at the path.
    Fetch(std::string fileUrl, std::string storePath);

    /// Starts both requests. The transactions are kept with the file until they have ended.
    void Start(LumNetworking::ILumAsynchronousHttpClient& direct, LumNetworking::ILumAsynchronousHttpClient& proxied);

    /// What is known so far; texts live until the next call.
    struct State {
        std::int32_t isDirectDone;
        std::int32_t isProxiedDone;
        std::int32_t directStatus;
        std::int32_t proxiedStatus;
        std::int64_t directSize;
        std::int64_t proxiedSize;
        std::int32_t isSame;
        std::int32_t isStored;
        const char* directFailure;
        const char* proxiedFailure;
        const char* storeFailure;
        const char* path;
    };
    State Describe();

private:
    using Transaction = std::shared_ptr<LumNetworking::ILumAsynchronousTransaction>;

    LumNetworking::HttpCompletion CompletionOf(Leg Fetch::*leg);
    Transaction StartOne(LumNetworking::ILumAsynchronousHttpClient& client, Leg Fetch::*leg);
    void Finish();
    void Store();

    const std::string url;
    const std::string path;
    std::mutex mutex;
    Leg direct;
    Leg proxied;
    Transaction directTransaction;
    Transaction proxiedTransaction;
    bool isSame = false;
    bool isStored = false;
    std::string storeFailure;
};

} // namespace LumDesktop
