#pragma once

#include "support/ChildProgram.h"

namespace LumTests {

/// Lets any process of the user debug this one, where the system would not.
void allowDebuggers();

/// Attaches a debugger to the program, under which it runs to its end. False if that does not work.
bool debugToItsEnd(const ChildProgram& program);

} // namespace LumTests
