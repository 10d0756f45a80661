#pragma once

#include "EasyHandle.h"
#include "LoadClient.h"

#include <vector>

namespace LumBench {

/// libcurl with a thread for each request in flight: each thread has an easy handle, which it uses again and again so
/// as to keep its connection.
class ThreadedEasyClient : public LoadClient {
public:
    void Run(const Load& load, LoadTally& tally) override;

private:
    /// By thread; kept from one load to the next.
    std::vector<EasyHandle> handles;
};

} // namespace LumBench
