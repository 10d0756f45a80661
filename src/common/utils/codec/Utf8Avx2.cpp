#include "common/utils/codec/X86Kernels.h"

#include <immintrin.h>

namespace LumUtils::Codec {

namespace {

constexpr std::size_t kBlock = 32;

__m256i load256(const char* text)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text));
}

__m128i load128(const char* text)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
}

/// The ways in which two bytes in a row can be wrong. Each is found where the upper and the lower half of the first
/// byte and the upper half of the second all allow it.
constexpr char kTooShort = 1;   // a lead, then no continuation
constexpr char kTooLong = 2;    // ASCII, then a continuation
constexpr char kOverlong3 = 4;  // E0, then 80 to 9F
constexpr char kTooLarge = 8;   // F4, then 90 to BF, or F5 to FF
constexpr char kSurrogate = 16; // ED, then A0 to BF
constexpr char kOverlong2 = 32; // C0 or C1
constexpr char kOverlong4 = 64; // F0, then 80 to 8F, or F5 to FF, then 80 to 8F
constexpr char kTwoContinuations = static_cast<char>(0x80);

__m256i lookUp(__m256i nibbles, __m128i table)
{
    return _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(table), nibbles);
}

__m256i lowerNibbles(__m256i bytes)
{
    return _mm256_and_si256(bytes, _mm256_set1_epi8(0x0F));
}

__m256i upperNibbles(__m256i bytes)
{
    return lowerNibbles(_mm256_srli_epi16(bytes, 4));
}

__m256i wrongByFirstUpper(__m256i first)
{
    constexpr char kThree = kTooShort | kOverlong3 | kSurrogate;
    constexpr char kFour = kTooShort | kTooLarge | kOverlong4;
    return lookUp(upperNibbles(first),
                  _mm_setr_epi8(kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTooLong,
                                kTwoContinuations, kTwoContinuations, kTwoContinuations, kTwoContinuations,
                                kTooShort | kOverlong2, kTooShort, kThree, kFour));
}

__m256i wrongByFirstLower(__m256i first)
{
    constexpr char kAny = kTooShort | kTooLong | kTwoContinuations;
    constexpr char kNone = kAny | kTooLarge | kOverlong4;
    return lookUp(lowerNibbles(first), _mm_setr_epi8(kAny | kOverlong2 | kOverlong3 | kOverlong4, kAny | kOverlong2,
                                                     kAny, kAny, kAny | kTooLarge, kNone, kNone, kNone, kNone, kNone,
                                                     kNone, kNone, kNone, kNone | kSurrogate, kNone, kNone));
}

__m256i wrongBySecondUpper(__m256i second)
{
    constexpr char kAny = kTooLong | kOverlong2 | kTwoContinuations;
    constexpr char kLast = kAny | kSurrogate | kTooLarge;
    return lookUp(upperNibbles(second),
                  _mm_setr_epi8(kTooShort, kTooShort, kTooShort, kTooShort, kTooShort, kTooShort, kTooShort, kTooShort,
                                kAny | kOverlong3 | kOverlong4, kAny | kOverlong3 | kTooLarge, kLast, kLast, kTooShort,
                                kTooShort, kTooShort, kTooShort));
}

/// The block moved up by some bytes, with the last ones of the block before it in their place.
template <int kDistance>
__m256i preceding(__m256i block, __m256i before)
{
    return _mm256_alignr_epi8(block, _mm256_permute2x128_si256(before, block, 0x21), 16 - kDistance);
}

bool isValid(__m256i block, __m256i before)
{
    const __m256i first = preceding<1>(block, before);
    const __m256i wrong = _mm256_and_si256(_mm256_and_si256(wrongByFirstUpper(first), wrongByFirstLower(first)),
                                           wrongBySecondUpper(block));
    // Two continuations in a row are right where they are the second and the third, or the third and the fourth byte.
    const __m256i isThird = _mm256_subs_epu8(preceding<2>(block, before), _mm256_set1_epi8(0xE0 - 0x80));
    const __m256i isFourth = _mm256_subs_epu8(preceding<3>(block, before), _mm256_set1_epi8(0xF0 - 0x80));
    const __m256i mayFollow = _mm256_and_si256(_mm256_or_si256(isThird, isFourth), _mm256_set1_epi8(kTwoContinuations));
    const __m256i errors = _mm256_xor_si256(wrong, mayFollow);
    return _mm256_testz_si256(errors, errors) != 0;
}

unsigned int leads(__m256i block)
{
    return static_cast<unsigned int>(_mm256_movemask_epi8(_mm256_cmpgt_epi8(block, _mm256_set1_epi8(-65))));
}

unsigned int leadsOfFour(__m256i block)
{
    const __m256i smallest = _mm256_set1_epi8(static_cast<char>(0xF0));
    return static_cast<unsigned int>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(_mm256_max_epu8(block, smallest), block)));
}

/// Whether the last of the bytes begin a sequence that ends after them.
bool endsWithin(const char* text, const Progress& done)
{
    constexpr unsigned char kSmallestLead[] = {0xC0, 0xE0, 0xF0};
    for (std::size_t back = 1; back <= 3 && back <= done.read; ++back) {
        const auto byte = static_cast<unsigned char>(text[done.read - back]);
        if (byte < 0x80 || byte >= 0xC0) {
            return byte >= kSmallestLead[back - 1];
        }
    }
    return false;
}

/// Takes a sequence that is not complete back.
void endAtSequence(const char* text, Progress& done)
{
    if (!endsWithin(text, done)) {
        return;
    }
    unsigned char byte = 0;
    do {
        byte = static_cast<unsigned char>(text[--done.read]);
    } while (byte < 0xC0);
    done.written -= byte >= 0xF0 ? 2 : 1;
}

/// For each choice of eight units, the shuffle that moves those to the front.
struct Choices {
    alignas(16) signed char shuffles[256][16] = {};

    constexpr Choices()
    {
        for (int choice = 0; choice < 256; ++choice) {
            int count = 0;
            for (int unit = 0; unit < 8; ++unit) {
                if ((choice >> unit & 1) != 0) {
                    shuffles[choice][count++] = static_cast<signed char>(unit * 2);
                    shuffles[choice][count++] = static_cast<signed char>(unit * 2 + 1);
                }
            }
        }
    }
};

constexpr Choices kChoices;

/// Writes the chosen ones of eight units, and whatever up to the eighth; returns where the next one goes.
char* storeChosen(__m128i units, unsigned int choice, char* out)
{
    const __m128i shuffle = _mm_load_si128(reinterpret_cast<const __m128i*>(kChoices.shuffles[choice]));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_shuffle_epi8(units, shuffle));
    return out + static_cast<std::size_t>(_mm_popcnt_u32(choice)) * 2;
}

void storeAscii(__m256i block, char* out)
{
    const __m256i first = _mm256_cvtepu8_epi16(_mm256_castsi256_si128(block));
    const __m256i second = _mm256_cvtepu8_epi16(_mm256_extracti128_si256(block, 1));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), first);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + kBlock), second);
}

__m256i low6(__m256i values)
{
    return _mm256_and_si256(values, _mm256_set1_epi16(0x3F));
}

/// What stands at each of 16 bytes for the code point that begins there, if that is one of up to three bytes.
__m256i toUnits(__m256i byte, __m256i second, __m256i third)
{
    const __m256i middle = _mm256_slli_epi16(low6(second), 6);
    const __m256i ofTwo =
        _mm256_or_si256(_mm256_slli_epi16(_mm256_and_si256(byte, _mm256_set1_epi16(0x1F)), 6), low6(second));
    const __m256i ofThree = _mm256_or_si256(_mm256_or_si256(_mm256_slli_epi16(byte, 12), middle), low6(third));
    const __m256i isTwo = _mm256_cmpgt_epi16(byte, _mm256_set1_epi16(0x7F));
    const __m256i isThree = _mm256_cmpgt_epi16(byte, _mm256_set1_epi16(0xDF));
    return _mm256_blendv_epi8(_mm256_blendv_epi8(byte, ofTwo, isTwo), ofThree, isThree);
}

/// Puts surrogates in: the high one at the first of four bytes, the low one at each continuation. It counts only at the
/// second byte.
__m256i withSurrogates(__m256i units, __m256i byte, __m256i second, __m256i third)
{
    const __m256i upper = _mm256_slli_epi16(_mm256_and_si256(byte, _mm256_set1_epi16(0x07)), 8);
    const __m256i middle = _mm256_or_si256(_mm256_slli_epi16(low6(second), 2), _mm256_srli_epi16(low6(third), 4));
    const __m256i high = _mm256_add_epi16(_mm256_or_si256(upper, middle), _mm256_set1_epi16(0xD800 - 0x40 - 0x10000));
    const __m256i low = _mm256_or_si256(
        _mm256_or_si256(_mm256_slli_epi16(_mm256_and_si256(second, _mm256_set1_epi16(0x0F)), 6), low6(third)),
        _mm256_set1_epi16(0xDC00 - 0x10000));
    const __m256i isFour = _mm256_cmpgt_epi16(byte, _mm256_set1_epi16(0xEF));
    const __m256i isLead = _mm256_cmpgt_epi16(byte, _mm256_set1_epi16(0xBF));
    const __m256i isContinuation = _mm256_andnot_si256(isLead, _mm256_cmpgt_epi16(byte, _mm256_set1_epi16(0x7F)));
    return _mm256_blendv_epi8(_mm256_blendv_epi8(units, high, isFour), low, isContinuation);
}

/// Converts 16 bytes; reads two more. `pending` says whether the second of four bytes comes first, and becomes whether
/// it comes next.
char* convertBlock(const char* text, unsigned int& pending, char* out)
{
    constexpr unsigned int kHalf = 0xFF;
    const __m128i block = load128(text);
    const __m256i byte = _mm256_cvtepu8_epi16(block);
    const __m256i second = _mm256_cvtepu8_epi16(load128(text + 1));
    const __m256i third = _mm256_cvtepu8_epi16(load128(text + 2));
    __m256i units = toUnits(byte, second, third);
    auto chosen = static_cast<unsigned int>(_mm_movemask_epi8(_mm_cmpgt_epi8(block, _mm_set1_epi8(-65))));
    const __m128i smallest = _mm_set1_epi8(static_cast<char>(0xF0));
    const auto fours =
        static_cast<unsigned int>(_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_max_epu8(block, smallest), block)));
    if ((fours | pending) != 0) {
        units = withSurrogates(units, byte, second, third);
        chosen |= (fours << 1U) | pending;
        pending = fours >> 15U;
    }
    out = storeChosen(_mm256_castsi256_si128(units), chosen & kHalf, out);
    return storeChosen(_mm256_extracti128_si256(units, 1), chosen >> 8U & kHalf, out);
}

} // namespace

Progress measureUtf8Avx2(const char* text, std::size_t length)
{
    constexpr unsigned int kLastByte = 0x80000000U;
    Progress done;
    __m256i before = _mm256_setzero_si256();
    unsigned int aboveAsciiBefore = 0;
    while (length - done.read >= kBlock) {
        const __m256i block = load256(text + done.read);
        const auto aboveAscii = static_cast<unsigned int>(_mm256_movemask_epi8(block));
        if ((aboveAscii | (aboveAsciiBefore & kLastByte)) == 0) {
            done.written += kBlock;
        } else if (isValid(block, before)) {
            done.written += static_cast<std::size_t>(_mm_popcnt_u32(leads(block)) + _mm_popcnt_u32(leadsOfFour(block)));
        } else {
            break;
        }
        before = block;
        aboveAsciiBefore = aboveAscii;
        done.read += kBlock;
    }
    endAtSequence(text, done);
    return done;
}

Progress convertUtf8Avx2(const char* text, std::size_t length, void* units, std::size_t room)
{
    constexpr std::size_t kBytes = 16;
    auto* const begin = static_cast<char*>(units);
    const char* const limit = begin + room * 2;
    char* out = begin;
    unsigned int pending = 0;
    Progress done;
    while (length - done.read >= kBlock && limit - out >= static_cast<std::ptrdiff_t>(kBlock * 2)) {
        const __m256i block = load256(text + done.read);
        if (_mm256_movemask_epi8(block) == 0) {
            storeAscii(block, out);
            out += kBlock * 2;
            done.read += kBlock;
            continue;
        }
        out = convertBlock(text + done.read, pending, out);
        done.read += kBytes;
    }
    if (pending != 0) {
        // The next byte is the second of four: its first byte is left for the next time.
        --done.read;
        out -= 2;
    }
    done.written = static_cast<std::size_t>(out - begin) / 2;
    if (pending == 0) {
        while (done.read > 0 && done.read < length && (static_cast<unsigned char>(text[done.read]) & 0xC0U) == 0x80U) {
            ++done.read;
        }
    }
    return done;
}

} // namespace LumUtils::Codec
