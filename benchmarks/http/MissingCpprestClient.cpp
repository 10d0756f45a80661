#include "LoadClient.h"

namespace LumBench {

std::unique_ptr<LoadClient> MakeCpprestClient()
{
    return nullptr;
}

} // namespace LumBench
