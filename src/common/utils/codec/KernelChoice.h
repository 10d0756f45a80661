#pragma once

#include "common/utils/codec/CodecKernels.h"

#include <vector>

namespace LumUtils::Codec {

/// Leave everything to the plain code.
const CodecKernels& plainKernels();

/// Those for the vector units that this machine has, the fastest last.
std::vector<const CodecKernels*> vectorKernels();

/// The fastest that this machine can run.
const CodecKernels& bestKernels();

} // namespace LumUtils::Codec
