#include "platform/LumPlatform.h"

// Stands in for a library of the right name that knows nothing of the managed boundary.

extern "C" LUM_EXPORT int LumSomethingElse()
{
    return 0;
}
