// Stands in for a library of the right name that knows nothing of the managed boundary.

extern "C" __attribute__((visibility("default"))) int LumSomethingElse()
{
    return 0;
}
