#include "common/utils/codec/X86Kernels.h"

#include <immintrin.h>

namespace LumUtils::Codec {

namespace {

constexpr std::size_t kBlock = 32;

/// Units are taken by their number in the text; the text need not be aligned for them.
__m256i load16Units(const char* units, std::size_t index)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(units + index * 2));
}

__m128i load8Units(const char* units, std::size_t index)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(units + index * 2));
}

bool isHighSurrogate(const char* units, std::size_t index)
{
    return (static_cast<unsigned char>(units[index * 2 + 1]) & 0xFCU) == 0xD8U;
}

/// Two bits for each of the units whose upper bits are those.
unsigned int unitsWith(__m256i units, short mask, short value)
{
    const __m256i upper = _mm256_and_si256(units, _mm256_set1_epi16(mask));
    return static_cast<unsigned int>(_mm256_movemask_epi8(_mm256_cmpeq_epi16(upper, _mm256_set1_epi16(value))));
}

constexpr short kAboveAscii = static_cast<short>(0xFF80);
constexpr short kAboveTwo = static_cast<short>(0xF800);
constexpr short kSurrogateBits = static_cast<short>(0xFC00);
constexpr short kHigh = static_cast<short>(0xD800);
constexpr short kLow = static_cast<short>(0xDC00);

/// Adds the bytes for 16 units. `pending` says whether the first must be a low surrogate, and becomes whether the next
/// must. False if surrogates are not in pairs.
bool measureUnits(__m256i units, unsigned int& pending, std::size_t& bytes)
{
    constexpr unsigned int kUnits = 16;
    const unsigned int ofOne = unitsWith(units, kAboveAscii, 0);
    const unsigned int ofTwo = unitsWith(units, kAboveTwo, 0);
    const unsigned int surrogates = unitsWith(units, kAboveTwo, kHigh);
    if ((surrogates | pending) != 0) {
        const unsigned int high = unitsWith(units, kSurrogateBits, kHigh);
        const unsigned int low = unitsWith(units, kSurrogateBits, kLow);
        if (low != (high << 2U | pending)) {
            return false;
        }
        pending = high >> 30U;
    }
    const int twice = _mm_popcnt_u32(ofOne) + _mm_popcnt_u32(ofTwo) + _mm_popcnt_u32(surrogates);
    bytes += 3 * kUnits - static_cast<unsigned int>(twice) / 2;
    return true;
}

/// For each choice of one to three bytes for four units, the shuffle that puts them together. The lower four bits of a
/// choice say which units have more than one byte, the upper four which have three.
struct Lengths {
    alignas(16) signed char shuffles[256][16] = {};
    unsigned char sums[256] = {};

    constexpr Lengths()
    {
        for (int choice = 0; choice < 256; ++choice) {
            int sum = 0;
            for (int unit = 0; unit < 4; ++unit) {
                const int length = 1 + (choice >> unit & 1) + (choice >> (unit + 4) & 1);
                for (int byte = 0; byte < length; ++byte) {
                    shuffles[choice][sum++] = static_cast<signed char>(unit * 4 + byte);
                }
            }
            sums[choice] = static_cast<unsigned char>(sum);
        }
    }
};

constexpr Lengths kLengths;

/// Writes the bytes of four units, and whatever up to the 16th; returns where the next one goes.
char* storeBytes(__m128i bytes, unsigned int choice, char* out)
{
    const __m128i shuffle = _mm_load_si128(reinterpret_cast<const __m128i*>(kLengths.shuffles[choice]));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_shuffle_epi8(bytes, shuffle));
    return out + kLengths.sums[choice];
}

__m256i and32(__m256i values, int mask)
{
    return _mm256_and_si256(values, _mm256_set1_epi32(mask));
}

/// The bits as a continuation byte, at the given place.
template <int kPlace>
__m256i continuation(__m256i bits)
{
    return _mm256_slli_epi32(_mm256_or_si256(and32(bits, 0x3F), _mm256_set1_epi32(0x80)), kPlace * 8);
}

/// The bytes of eight units, each in 32 bits, without regard to surrogates.
__m256i toBytes(__m256i units, __m256i isTwo, __m256i isThree)
{
    const __m256i leadOfTwo = _mm256_or_si256(_mm256_srli_epi32(units, 6), _mm256_set1_epi32(0xC0));
    const __m256i ofTwo = _mm256_or_si256(leadOfTwo, continuation<1>(units));
    const __m256i leadOfThree = _mm256_or_si256(_mm256_srli_epi32(units, 12), _mm256_set1_epi32(0xE0));
    const __m256i ofThree = _mm256_or_si256(
        leadOfThree, _mm256_or_si256(continuation<1>(_mm256_srli_epi32(units, 6)), continuation<2>(units)));
    return _mm256_blendv_epi8(_mm256_blendv_epi8(units, ofTwo, isTwo), ofThree, isThree);
}

/// Puts the bytes of surrogates in: each of a pair gives two of the four.
__m256i withSurrogates(__m256i bytes, __m256i units, __m256i unitsBefore)
{
    const __m256i upper = _mm256_add_epi32(and32(units, 0x3FF), _mm256_set1_epi32(0x40));
    const __m256i lead = _mm256_or_si256(_mm256_srli_epi32(upper, 8), _mm256_set1_epi32(0xF0));
    const __m256i ofHigh = _mm256_or_si256(lead, continuation<1>(_mm256_srli_epi32(upper, 2)));
    const __m256i middle =
        _mm256_or_si256(_mm256_slli_epi32(and32(unitsBefore, 0x03), 4), and32(_mm256_srli_epi32(units, 6), 0x0F));
    const __m256i ofLow = _mm256_or_si256(continuation<0>(middle), continuation<1>(units));
    const __m256i bits = and32(units, 0xFC00);
    const __m256i isHigh = _mm256_cmpeq_epi32(bits, _mm256_set1_epi32(0xD800));
    const __m256i isLow = _mm256_cmpeq_epi32(bits, _mm256_set1_epi32(0xDC00));
    return _mm256_blendv_epi8(_mm256_blendv_epi8(bytes, ofHigh, isHigh), ofLow, isLow);
}

unsigned int laneMask(__m256i lanes)
{
    return static_cast<unsigned int>(_mm256_movemask_ps(_mm256_castsi256_ps(lanes)));
}

/// Converts the eight units from that number on.
char* convertUnits(const char* text, std::size_t index, char* out)
{
    const __m128i block = load8Units(text, index);
    const __m256i units = _mm256_cvtepu16_epi32(block);
    const __m256i isSurrogate = _mm256_cmpeq_epi32(and32(units, 0xF800), _mm256_set1_epi32(0xD800));
    const __m256i isTwo = _mm256_cmpgt_epi32(units, _mm256_set1_epi32(0x7F));
    const __m256i isThree = _mm256_andnot_si256(isSurrogate, _mm256_cmpgt_epi32(units, _mm256_set1_epi32(0x7FF)));
    __m256i bytes = toBytes(units, isTwo, isThree);
    if (laneMask(isSurrogate) != 0) {
        // The first unit of a text is no low surrogate, and only those look at the unit before.
        const __m128i before = index > 0 ? load8Units(text, index - 1) : _mm_slli_si128(block, 2);
        bytes = withSurrogates(bytes, units, _mm256_cvtepu16_epi32(before));
    }
    const unsigned int two = laneMask(isTwo);
    const unsigned int three = laneMask(isThree);
    out = storeBytes(_mm256_castsi256_si128(bytes), (two & 0x0FU) | (three << 4U & 0xF0U), out);
    return storeBytes(_mm256_extracti128_si256(bytes, 1), two >> 4U | (three & 0xF0U), out);
}

bool areAscii(__m256i units)
{
    return _mm256_testz_si256(units, _mm256_set1_epi16(kAboveAscii)) != 0;
}

} // namespace

Progress measureUtf16Avx2(const void* units, std::size_t length)
{
    const auto* const text = static_cast<const char*>(units);
    unsigned int pending = 0;
    Progress done;
    while (length - done.read >= kBlock) {
        const __m256i first = load16Units(text, done.read);
        const __m256i second = load16Units(text, done.read + kBlock / 2);
        if (pending == 0 && areAscii(_mm256_or_si256(first, second))) {
            done.written += kBlock;
        } else if (!measureUnits(first, pending, done.written) || !measureUnits(second, pending, done.written)) {
            return {};
        }
        done.read += kBlock;
    }
    if (pending != 0) {
        --done.read;
        done.written -= 2;
    }
    return done;
}

Progress convertUtf16Avx2(const void* units, std::size_t length, char* text, std::size_t room)
{
    constexpr std::size_t kUnits = 8;
    const auto* const from = static_cast<const char*>(units);
    const char* const limit = text + room;
    char* out = text;
    Progress done;
    while (length - done.read >= kBlock && limit - out >= static_cast<std::ptrdiff_t>(kBlock)) {
        const __m256i first = load16Units(from, done.read);
        const __m256i second = load16Units(from, done.read + kBlock / 2);
        if (areAscii(_mm256_or_si256(first, second))) {
            const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi16(first, second), 0xD8);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), packed);
            out += kBlock;
            done.read += kBlock;
            continue;
        }
        out = convertUnits(from, done.read, out);
        done.read += kUnits;
    }
    done.written = static_cast<std::size_t>(out - text);
    if (done.read > 0 && isHighSurrogate(from, done.read - 1)) {
        --done.read;
        done.written -= 2;
    }
    return done;
}

} // namespace LumUtils::Codec
