#pragma once

#include "FetchJob.h"

#include <vector>

namespace LumFetch {

/// Makes the requests, shows their progress, what came of them and what the library logged. True if all came out as
/// expected.
bool RunFetches(std::vector<FetchJob> jobs);

} // namespace LumFetch
