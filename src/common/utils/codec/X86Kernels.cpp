#include "common/utils/codec/X86Kernels.h"
#include "common/utils/codec/KernelChoice.h"
#include "platform/CpuFeatures.h"

namespace LumUtils::Codec {

namespace {

constexpr CodecKernels kAvx2{"Avx2",          encodeBase64Avx2, decodeBase64Avx2, measureUtf8Avx2,
                             convertUtf8Avx2, measureUtf16Avx2, convertUtf16Avx2};

/// Wider registers, and instructions that look up any of 64 characters, only for base64: there they double the speed.
constexpr CodecKernels kAvx512{"Avx512",        encodeBase64Avx512, decodeBase64Avx512, measureUtf8Avx2,
                               convertUtf8Avx2, measureUtf16Avx2,   convertUtf16Avx2};

} // namespace

std::vector<const CodecKernels*> vectorKernels()
{
    std::vector<const CodecKernels*> kernels;
    if (LumPlatform::cpuHasAvx2()) {
        kernels.push_back(&kAvx2);
        if (LumPlatform::cpuHasAvx512Vbmi()) {
            kernels.push_back(&kAvx512);
        }
    }
    return kernels;
}

} // namespace LumUtils::Codec
