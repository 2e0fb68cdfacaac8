// The application `netrondo-app`.
#include "RenderCommand.h"

#include <cstdio>

#ifdef __SANITIZE_ADDRESS__
// Fontconfig and Qt's font tables live until the end of the program and are not taken down; our own leaks still show.
extern "C" const char* __lsan_default_suppressions(); // NOLINT(bugprone-reserved-identifier): the sanitizer's own name
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:libfontconfig\nleak:libQt6Gui\nleak:libqoffscreen\n";
}
#endif

int main(int argc, char** argv)
{
    if (netrondo::asksForPictures(argc, argv))
        return netrondo::renderPictures(argc, argv);
    std::fputs("netrondo-app: this version draws pictures (netrondo circle --svg OUT FILE) and has no window yet\n",
               stderr);
    return 1;
}
