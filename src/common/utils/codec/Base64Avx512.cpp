#include "common/utils/codec/X86Kernels.h"

#include <immintrin.h>

namespace LumUtils::Codec {

namespace {

constexpr std::size_t kBytes = 48;
constexpr std::size_t kCharacters = 64;

__m512i load512(const void* from)
{
    return _mm512_loadu_si512(from);
}

/// 48 bytes in an order in which each group of three fills 32 bits: second, first, third, second.
__m512i loadGroups(const unsigned char* bytes)
{
    const __m256i first = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
    const __m128i last = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + 32));
    const __m512i all = _mm512_inserti64x4(_mm512_castsi256_si512(first), _mm256_castsi128_si256(last), 1);
    const __m512i order = _mm512_setr_epi32(0x01020001, 0x04050304, 0x07080607, 0x0A0B090A, 0x0D0E0C0D, 0x10110F10,
                                            0x13141213, 0x16171516, 0x191A1819, 0x1C1D1B1C, 0x1F201E1F, 0x22232122,
                                            0x25262425, 0x28292728, 0x2B2C2A2B, 0x2E2F2D2E);
    return _mm512_permutexvar_epi8(order, all);
}

/// Joins the four values of each group and writes 48 bytes.
void storeGroups(__m512i values, unsigned char* bytes)
{
    const __m512i pairs = _mm512_maddubs_epi16(values, _mm512_set1_epi32(0x01400140));
    const __m512i groups = _mm512_madd_epi16(pairs, _mm512_set1_epi32(0x00011000));
    const __m512i order =
        _mm512_setr_epi32(0x06000102, 0x090A0405, 0x0C0D0E08, 0x16101112, 0x191A1415, 0x1C1D1E18, 0x26202122,
                          0x292A2425, 0x2C2D2E28, 0x36303132, 0x393A3435, 0x3C3D3E38, 0, 0, 0, 0);
    const __m512i joined = _mm512_permutexvar_epi8(order, groups);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes), _mm512_castsi512_si256(joined));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes + 32), _mm512_extracti32x4_epi32(joined, 2));
}

} // namespace

Progress encodeBase64Avx512(const unsigned char* bytes, std::size_t length, const char* alphabet, char* text)
{
    // The places of the four values in two groups of 32 bits.
    const __m512i places = _mm512_set1_epi64(0x3036242A1016040A);
    const __m512i characters = load512(alphabet);
    Progress done;
    while (length - done.read >= kBytes) {
        const __m512i values = _mm512_multishift_epi64_epi8(places, loadGroups(bytes + done.read));
        // Only the lower six bits of a value count.
        _mm512_storeu_si512(text + done.written, _mm512_permutexvar_epi8(values, characters));
        done.read += kBytes;
        done.written += kCharacters;
    }
    return done;
}

Progress decodeBase64Avx512(const char* text, std::size_t length, const unsigned char* values, unsigned char* bytes)
{
    const __m512i lowerValues = load512(values);
    const __m512i upperValues = load512(values + 64);
    Progress done;
    while (length - done.read >= kCharacters) {
        const __m512i characters = load512(text + done.read);
        const __m512i found = _mm512_permutex2var_epi8(lowerValues, characters, upperValues);
        // The highest bit is set in characters above ASCII, and in what is found for those that have no value.
        if (_mm512_movepi8_mask(_mm512_or_si512(characters, found)) != 0) {
            break;
        }
        storeGroups(found, bytes + done.written);
        done.read += kCharacters;
        done.written += kBytes;
    }
    return done;
}

} // namespace LumUtils::Codec
