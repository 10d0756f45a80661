#include "common/utils/codec/KernelChoice.h"

namespace LumUtils::Codec {

namespace {

constexpr CodecKernels kPlain{
    "Plain",
    [](const unsigned char*, std::size_t, const char*, char*) { return Progress{}; },
    [](const char*, std::size_t, const unsigned char*, unsigned char*) { return Progress{}; },
    [](const char*, std::size_t) { return Progress{}; },
    [](const char*, std::size_t, void*, std::size_t) { return Progress{}; },
    [](const void*, std::size_t) { return Progress{}; },
    [](const void*, std::size_t, char*, std::size_t) { return Progress{}; },
};

const CodecKernels& fastestKernels()
{
    const std::vector<const CodecKernels*> vectors = vectorKernels();
    return vectors.empty() ? kPlain : *vectors.back();
}

} // namespace

const CodecKernels& plainKernels()
{
    return kPlain;
}

const CodecKernels& bestKernels()
{
    static const CodecKernels& best = fastestKernels();
    return best;
}

} // namespace LumUtils::Codec
