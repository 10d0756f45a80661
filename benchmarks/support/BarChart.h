#pragma once

#include "support/BenchReport.h"

#include <string>

namespace LumBench {

/// The report as an SVG picture: a bar per row, as long as its ratio, and a mark where its goal is.
std::string DrawBarChart(const BenchReport& report);

} // namespace LumBench
