// What the leak checker of a sanitizer's build is to overlook in every program with Qt.
#ifdef __SANITIZE_ADDRESS__
// Fontconfig, Qt's font tables and its platforms live until the end of the program and are not taken down; our own
// leaks still show.
extern "C" const char* __lsan_default_suppressions(); // NOLINT(bugprone-reserved-identifier): the sanitizer's own name
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:libfontconfig\nleak:libQt6Gui\nleak:libqoffscreen\nleak:libQt6XcbQpa\nleak:libQt6DBus\n";
}
#endif
