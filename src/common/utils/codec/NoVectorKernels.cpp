#include "common/utils/codec/CodecKernels.h"

/// For processors that there are no vector kernels for.

namespace LumUtils::Codec {

const CodecKernels* vectorKernels()
{
    return nullptr;
}

} // namespace LumUtils::Codec
