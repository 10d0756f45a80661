#include "common/utils/codec/KernelChoice.h"

/// For processors that there are no vector kernels for.

namespace LumUtils::Codec {

std::vector<const CodecKernels*> vectorKernels()
{
    return {};
}

} // namespace LumUtils::Codec
