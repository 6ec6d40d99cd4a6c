// The library outside the system folders, and the module that needs it.
#ifdef PROBE_DEPENDENCY
int probeDependency()
{
    return 1;
}
#else
int probeDependency();
extern "C" int probe()
{
    return probeDependency();
}
#endif
