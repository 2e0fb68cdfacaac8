// What the leak checker of a sanitizer's build is to overlook in the program with a window.
#ifdef __SANITIZE_ADDRESS__
// The platform's accessibility speaks to the session's bus, and the bus's library does not take its connection down.
extern "C" const char* __lsan_default_suppressions(); // NOLINT(bugprone-reserved-identifier): the sanitizer's own name
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:libdbus-1\n";
}
#endif
