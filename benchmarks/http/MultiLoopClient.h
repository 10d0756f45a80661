#pragma once

#include "EasyHandle.h"
#include "LoadClient.h"

#include <vector>

namespace LumBench {

/// A plain loop around libcurl's multi interface on one thread, with a new easy handle for each request: what can be
/// had here at most.
class MultiLoopClient : public LoadClient {
public:
    MultiLoopClient();

    void Run(const Load& load, LoadTally& tally) override;

private:
    struct Transfer {
        /// Made for each request, and handed to an owner when it has come.
        std::unique_ptr<EasyResponse> response;
        EasyHandle handle;
    };

    struct MultiHandleCloser {
        void operator()(CURLM* handle) const { curl_multi_cleanup(handle); }
    };

    void Start(Transfer& transfer, const std::string& url);
    bool FinishTransfers(const std::string& url, LoadTally& tally);

    std::unique_ptr<CURLM, MultiHandleCloser> multi;
};

} // namespace LumBench
