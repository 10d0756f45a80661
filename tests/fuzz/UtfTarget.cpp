#include "common/utils/codec/CodecPaths.h"
#include "common/utils/codec/UtfCodec.h"
#include "fuzz/FuzzTargets.h"
#include "peers/UtfPeer.h"

#include <cstring>

namespace {

using namespace LumUtils::Codec;
using LumTests::ExactRoom;
using LumTests::ExactText;
using LumUtils::WideChar;
using LumUtils::WideString;

/// The bytes as code units, a last odd one left out.
WideString unitsOf(std::string_view bytes)
{
    WideString units(bytes.size() / sizeof(WideChar), WideChar{});
    if (!units.empty()) {
        std::memcpy(units.data(), bytes.data(), units.size() * sizeof(WideChar));
    }
    return units;
}

/// Valid text into room for some of it: whole code points, and nothing beyond.
void expectPart(const CodecKernels& kernels, std::string_view narrow, const WideString& wide, std::size_t room)
{
    const ExactText<char> narrowText(narrow);
    ExactRoom<WideChar> units(room % (wide.size() + 1));
    const Progress widened = convertUtf8(kernels, {narrowText.Data(), narrowText.Size()}, units.Data(), units.Size());
    LumFuzz::expect(widened.written <= units.Size() &&
                        units.Text().compare(0, widened.written, wide, 0, widened.written) == 0,
                    "the beginning is converted to UTF-16");
    const ExactText<WideChar> wideText(wide);
    ExactRoom<char> bytes(room % (narrow.size() + 1));
    const Progress narrowed = convertUtf16(kernels, {wideText.Data(), wideText.Size()}, bytes.Data(), bytes.Size());
    LumFuzz::expect(narrowed.written <= bytes.Size() &&
                        narrow.compare(0, narrowed.written, bytes.Text().substr(0, narrowed.written)) == 0,
                    "the beginning is converted to UTF-8");
}

void expectAsPeer(const CodecKernels& kernels, std::string_view bytes)
{
    const ExactText<char> text(bytes);
    const std::optional<WideString> wide = utf8ToUtf16(kernels, {text.Data(), text.Size()});
    LumFuzz::expect(wide == LumTests::toWideByPeer(std::string(bytes)), "UTF-8 is judged and converted alike");
    if (wide) {
        LumFuzz::expect(utf16ToUtf8(kernels, *wide) == std::string(bytes), "the text comes back");
        expectPart(kernels, bytes, *wide, bytes.empty() ? 0 : static_cast<unsigned char>(bytes.back()));
    }
    const WideString units = unitsOf(bytes);
    const ExactText<WideChar> unitText(units);
    const std::optional<std::string> narrow = utf16ToUtf8(kernels, {unitText.Data(), unitText.Size()});
    LumFuzz::expect(narrow == LumTests::toNarrowByPeer(units), "UTF-16 is judged and converted alike");
    if (narrow) {
        LumFuzz::expect(utf8ToUtf16(kernels, *narrow) == units, "the units come back");
    }
}

} // namespace

/// The input is taken for UTF-8, and for the units of UTF-16 as they lie in memory.
void LumFuzz::utf(std::string_view input)
{
    for (const LumTests::CodecPath kernels : LumTests::codecPaths()) {
        expectAsPeer(*kernels, input);
    }
}
