#include "platform/LumPlatform.h"

// Stands in for the library of a later version. It only tells which it is.

extern "C" LUM_EXPORT unsigned LumCliGetAbiVersion()
{
    return 7;
}

extern "C" LUM_EXPORT const char* LumCliGetLibraryVersion()
{
    return "9.8.7";
}
