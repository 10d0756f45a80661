#pragma once

#include "support/BenchOptions.h"
#include "support/BenchReport.h"

namespace LumBench {

/// Each measures its cases and adds their rows. Throws std::runtime_error if a peer's result is not the library's.
void MeasureBase64(const BenchOptions& options, BenchReport& report);
void MeasureText(const BenchOptions& options, BenchReport& report);
void MeasureUrls(const BenchOptions& options, BenchReport& report);
void MeasureUuid(const BenchOptions& options, BenchReport& report);
void MeasureWipe(const BenchOptions& options, BenchReport& report);

} // namespace LumBench
