#include "peers/NarrowPeer.h"

#include "peers/UtfPeer.h"

namespace LumTests {

std::optional<std::string> toJapaneseTextByPeer(const LumUtils::WideString& text)
{
    return toNarrowByPeer(text);
}

} // namespace LumTests
