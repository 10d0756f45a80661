#pragma once

#include "common/utils/LumDebuggerUtilsBase.h"

namespace LumUtils {

/// The waits of LumDebuggerUtilsBase with the answer of the system: whether a debugger is attached to this process, or,
/// on Linux, any other program that traces it.
class LumDebuggerUtils : public LumDebuggerUtilsBase {
public:
    using LumDebuggerUtilsBase::LumDebuggerUtilsBase;

    bool isDebuggerAttached() const override;
};

} // namespace LumUtils
