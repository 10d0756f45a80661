// Stands in for the library of a later version. It only tells which it is.

extern "C" __attribute__((visibility("default"))) unsigned LumCliGetAbiVersion()
{
    return 7;
}

extern "C" __attribute__((visibility("default"))) const char* LumCliGetLibraryVersion()
{
    return "9.8.7";
}
