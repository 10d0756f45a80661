#include "common/utils/codec/Avx2Kernels.h"
#include "platform/CpuFeatures.h"

namespace LumUtils::Codec {

namespace {

constexpr CodecKernels kAvx2{encodeBase64Avx2, decodeBase64Avx2, measureUtf8Avx2,
                             convertUtf8Avx2,  measureUtf16Avx2, convertUtf16Avx2};

} // namespace

const CodecKernels* vectorKernels()
{
    static const bool hasAvx2 = LumPlatform::cpuHasAvx2();
    return hasAvx2 ? &kAvx2 : nullptr;
}

} // namespace LumUtils::Codec
