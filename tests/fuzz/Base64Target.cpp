#include "common/utils/LumBase64.h"
#include "common/utils/codec/Base64Codec.h"
#include "common/utils/codec/CodecPaths.h"
#include "fuzz/FuzzTargets.h"
#include "peers/Base64Peer.h"

#include <algorithm>
#include <optional>

namespace {

using namespace LumUtils::Codec;
using LumTests::ExactText;

/// What became of decoding: the bytes, or the text of the exception.
struct Decoded {
    std::optional<std::string> bytes;
    std::string refusal;

    bool operator==(const Decoded& other) const { return bytes == other.bytes && refusal == other.refusal; }
};

template <typename Decode>
Decoded decoded(Decode decode)
{
    try {
        return {decode(), {}};
    } catch (const std::out_of_range& failure) {
        return {{}, std::string("out of range: ") + failure.what()};
    } catch (const std::runtime_error& failure) {
        return {{}, std::string("runtime: ") + failure.what()};
    }
}

Decoded decodedBy(const CodecKernels& kernels, std::string_view text)
{
    const ExactText<char> exact(text);
    return decoded([&] { return base64Decode(kernels, exact.Data(), exact.Size()); });
}

/// Whether the other library takes the text, and means by it what this one does: whole groups of the standard alphabet,
/// with padding at the very end only.
bool isForBoth(std::string_view text)
{
    const std::size_t end = text.find_last_not_of('=') + 1;
    const bool isAlphabet = std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), [](char letter) {
        return (letter >= 'A' && letter <= 'Z') || (letter >= 'a' && letter <= 'z') ||
               (letter >= '0' && letter <= '9') || letter == '+' || letter == '/';
    });
    return isAlphabet && text.size() % 4 == 0 && text.size() - end <= 2;
}

void expectEncoded(const CodecKernels& kernels, const std::string& bytes)
{
    const ExactText<unsigned char> exact(bytes);
    const std::string text = base64Encode(kernels, exact.Data(), exact.Size(), false);
    LumFuzz::expect(text == LumTests::encodedByPeer(bytes), "bytes are encoded alike");
    LumFuzz::expect(decodedBy(kernels, text).bytes == bytes, "what is encoded is decoded");
    const std::string urlText = base64Encode(kernels, exact.Data(), exact.Size(), true);
    LumFuzz::expect(decodedBy(kernels, urlText).bytes == bytes, "what is encoded for URLs is decoded");
}

} // namespace

/// The input is taken for bytes to encode and for a text to decode.
void LumFuzz::base64(std::string_view input)
{
    const std::string text(input);
    const Decoded plain = decodedBy(plainKernels(), input);
    for (const LumTests::CodecPath kernels : LumTests::codecPaths()) {
        expectEncoded(*kernels, text);
        expect(decodedBy(*kernels, input) == plain, std::string("all paths agree: ") + kernels->name);
    }
    if (isForBoth(input)) {
        expect(plain.bytes == LumTests::decodedByPeer(text), "a text for both is decoded alike");
    }
    expect(decoded([&] { return LumUtils::base64Decode(text); }) == plain, "the interface takes the same text");
    const std::string wrapped = LumUtils::base64EncodeWrapped(text);
    expect(LumUtils::base64Decode(wrapped, true) == text, "what is wrapped is decoded");
}
