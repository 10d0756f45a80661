#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace LumBench {

/// The value in the middle; 0 if there is none.
inline double Median(std::vector<double> values)
{
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

} // namespace LumBench
