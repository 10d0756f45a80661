#include "common/utils/codec/CodecKernels.h"

namespace LumUtils::Codec {

namespace {

constexpr CodecKernels kPlain{
    [](const unsigned char*, std::size_t, bool, char*) { return Progress{}; },
    [](const char*, std::size_t, unsigned char*) { return Progress{}; },
    [](const char*, std::size_t) { return Progress{}; },
    [](const char*, std::size_t, void*, std::size_t) { return Progress{}; },
    [](const void*, std::size_t) { return Progress{}; },
    [](const void*, std::size_t, char*, std::size_t) { return Progress{}; },
};

} // namespace

const CodecKernels& plainKernels()
{
    return kPlain;
}

const CodecKernels& bestKernels()
{
    static const CodecKernels& best = vectorKernels() != nullptr ? *vectorKernels() : kPlain;
    return best;
}

} // namespace LumUtils::Codec
