#pragma once

#include "common/utils/LumTextUtils.h"

#include <optional>
#include <string>

namespace LumTests {

/// What a text is in the encoding that the calling thread has while a JapaneseTexts lives. Nothing if it has no form
/// there.
std::optional<std::string> toJapaneseTextByPeer(const LumUtils::WideString& text);

} // namespace LumTests
