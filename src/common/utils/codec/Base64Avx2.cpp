#include "common/utils/codec/X86Kernels.h"

#include <immintrin.h>

namespace LumUtils::Codec {

namespace {

constexpr std::size_t kBytes = 24;
constexpr std::size_t kCharacters = 32;

__m128i load128(const void* from)
{
    return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

/// The same 16 bytes in both halves.
__m256i twice(__m128i half)
{
    return _mm256_broadcastsi128_si256(half);
}

/// 24 bytes, 12 in each half, in an order in which each group of three fills 32 bits: second, first, third, second.
__m256i loadGroups(const unsigned char* bytes)
{
    // The upper half is read from byte 8 on, so that nothing beyond the last byte is.
    const __m256i halves = _mm256_inserti128_si256(_mm256_castsi128_si256(load128(bytes)), load128(bytes + 8), 1);
    const __m256i order = _mm256_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10, // bytes 0 to 11
                                           5, 4, 6, 5, 8, 7, 9, 8, 11, 10, 12, 11, 14, 13, 15, 14);
    return _mm256_shuffle_epi8(halves, order);
}

/// The four values of six bits of each group, one in each byte.
__m256i splitGroups(__m256i groups)
{
    // Multiplication shifts each 16 bits by a distance of its own.
    const __m256i firstAndThird =
        _mm256_mulhi_epu16(_mm256_and_si256(groups, _mm256_set1_epi32(0x0FC0FC00)), _mm256_set1_epi32(0x04000040));
    const __m256i secondAndFourth =
        _mm256_mullo_epi16(_mm256_and_si256(groups, _mm256_set1_epi32(0x003F03F0)), _mm256_set1_epi32(0x01000010));
    return _mm256_or_si256(firstAndThird, secondAndFourth);
}

/// What is added to a value to get its character: entry 0 is for 26 to 51, 1 to 10 for the digits, 11 for 62, 12 for 63
/// and 13 for 0 to 25.
__m256i characterOffsets(const char* alphabet)
{
    constexpr char kDigit = '0' - 52;
    const char for62 = static_cast<char>(alphabet[62] - 62);
    const char for63 = static_cast<char>(alphabet[63] - 63);
    return twice(_mm_setr_epi8('a' - 26, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit,
                               for62, for63, 'A', 0, 0));
}

__m256i toCharacters(__m256i values, __m256i offsets)
{
    const __m256i isUpper = _mm256_cmpgt_epi8(_mm256_set1_epi8(26), values);
    const __m256i index = _mm256_or_si256(_mm256_subs_epu8(values, _mm256_set1_epi8(51)),
                                          _mm256_and_si256(isUpper, _mm256_set1_epi8(13)));
    return _mm256_add_epi8(values, _mm256_shuffle_epi8(offsets, index));
}

__m256i upperNibbles(__m256i bytes)
{
    return _mm256_and_si256(_mm256_srli_epi32(bytes, 4), _mm256_set1_epi8(0x0F));
}

/// Whether all 32 characters are in one of the alphabets.
bool areValid(__m256i characters, __m256i upper)
{
    // A bit for each set of lower nibbles; a character is invalid if the set of its upper nibble lacks its lower one.
    constexpr char kMarks = 1;  // 2B, 2D, 2F
    constexpr char kDigits = 2; // 30 to 39
    constexpr char kFirst = 4;  // 41 to 4F, 61 to 6F
    constexpr char kSecond = 8; // 50 to 5A, 70 to 7A
    constexpr char kLine = 16;  // 5F
    constexpr char kNever = 32;
    const __m256i setsOfUpper = twice(_mm_setr_epi8(kNever, kNever, kMarks, kDigits, kFirst, kLine, kFirst, kSecond,
                                                    kNever, kNever, kNever, kNever, kNever, kNever, kNever, kNever));
    constexpr char kLow = kMarks | kNever;
    constexpr char kTen = kMarks | kDigits | kNever;
    constexpr char kAbove = kDigits | kSecond | kNever;
    const __m256i lackedByLower =
        twice(_mm_setr_epi8(kLow | kFirst, kLow, kLow, kLow, kLow, kLow, kLow, kLow, kLow, kLow, kTen, kAbove | kLine,
                            kAbove | kMarks | kLine, kAbove | kLine, kAbove | kMarks | kLine, kAbove));
    const __m256i lacked = _mm256_shuffle_epi8(lackedByLower, _mm256_and_si256(characters, _mm256_set1_epi8(0x0F)));
    return _mm256_testz_si256(_mm256_shuffle_epi8(setsOfUpper, upper), lacked) != 0;
}

/// The six bits that each character, which is valid, stands for.
__m256i toValues(__m256i characters, __m256i upper)
{
    const __m256i offsets =
        twice(_mm_setr_epi8(0, 0, 0, 52 - '0', -'A', -'A', 26 - 'a', 26 - 'a', 0, 0, 0, 0, 0, 0, 0, 0));
    const __m256i offsetsOfMarks =
        twice(_mm_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 62 - '+', 0, 62 - '-', 0, 63 - '/'));
    const __m256i isMark = _mm256_cmpgt_epi8(_mm256_set1_epi8('0'), characters);
    const __m256i isLine = _mm256_cmpeq_epi8(characters, _mm256_set1_epi8('_'));
    const __m256i offset = _mm256_blendv_epi8(_mm256_shuffle_epi8(offsets, upper),
                                              _mm256_shuffle_epi8(offsetsOfMarks, characters), isMark);
    const __m256i values = _mm256_add_epi8(characters, offset);
    return _mm256_add_epi8(values, _mm256_and_si256(isLine, _mm256_set1_epi8(63 - ('_' - 'A'))));
}

/// Joins the four values of each group and writes 24 bytes.
void storeGroups(__m256i values, unsigned char* bytes)
{
    const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi32(0x01400140));
    const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
    const __m256i order = twice(_mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1));
    const __m256i joined =
        _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(groups, order), _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), _mm256_castsi256_si128(joined));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(bytes + 16), _mm256_extracti128_si256(joined, 1));
}

} // namespace

Progress encodeBase64Avx2(const unsigned char* bytes, std::size_t length, const char* alphabet, char* text)
{
    const __m256i offsets = characterOffsets(alphabet);
    Progress done;
    while (length - done.read >= kBytes) {
        const __m256i characters = toCharacters(splitGroups(loadGroups(bytes + done.read)), offsets);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(text + done.written), characters);
        done.read += kBytes;
        done.written += kCharacters;
    }
    return done;
}

Progress decodeBase64Avx2(const char* text, std::size_t length, const unsigned char* /*values*/, unsigned char* bytes)
{
    Progress done;
    while (length - done.read >= kCharacters) {
        const __m256i characters = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + done.read));
        const __m256i upper = upperNibbles(characters);
        if (!areValid(characters, upper)) {
            break;
        }
        storeGroups(toValues(characters, upper), bytes + done.written);
        done.read += kCharacters;
        done.written += kBytes;
    }
    return done;
}

} // namespace LumUtils::Codec
