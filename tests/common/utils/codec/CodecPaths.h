#pragma once

#include "common/utils/codec/KernelChoice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace LumTests {

using CodecPath = const LumUtils::Codec::CodecKernels*;

/// All the ways through the codecs that this machine can take.
inline std::vector<CodecPath> codecPaths()
{
    std::vector<CodecPath> paths = LumUtils::Codec::vectorKernels();
    paths.insert(paths.begin(), &LumUtils::Codec::plainKernels());
    return paths;
}

inline std::string nameOfPath(const testing::TestParamInfo<CodecPath>& info)
{
    return info.param->name;
}

/// A text at an offset in an allocation that ends with it, so that a sanitizer sees a read or a write beyond it.
template <typename Unit>
class ExactText {
public:
    template <typename Source>
    explicit ExactText(const Source& source, std::size_t newOffset = 0)
        : offset(newOffset), length(source.size()), units(new Unit[newOffset + source.size()])
    {
        std::transform(source.begin(), source.end(), units.get() + offset,
                       [](auto unit) { return static_cast<Unit>(unit); });
    }

    const Unit* Data() const { return units.get() + offset; }
    std::size_t Size() const { return length; }

private:
    std::size_t offset;
    std::size_t length;
    std::unique_ptr<Unit[]> units;
};

/// Room for exactly so many units.
template <typename Unit>
class ExactRoom {
public:
    explicit ExactRoom(std::size_t newSize) : size(newSize), units(new Unit[newSize]) {}

    Unit* Data() { return units.get(); }
    std::size_t Size() const { return size; }
    std::basic_string<Unit> Text() const { return std::basic_string<Unit>(units.get(), size); }

private:
    std::size_t size;
    std::unique_ptr<Unit[]> units;
};

} // namespace LumTests
