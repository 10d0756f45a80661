#pragma once

#include "common/utils/LumTextUtils.h"

#include <optional>
#include <string>

namespace LumTests {

/// The conversions of a library that is not the project's: ICU's, or those of Windows. Nothing for text that is not
/// valid.
std::optional<LumUtils::WideString> toWideByPeer(const std::string& text);
std::optional<std::string> toNarrowByPeer(const LumUtils::WideString& text);

} // namespace LumTests
