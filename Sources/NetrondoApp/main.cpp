// The application `netrondo-app`.
#include "RenderCommand.h"

#include <cstdio>

int main(int argc, char** argv)
{
    if (netrondo::asksForPictures(argc, argv))
        return netrondo::renderPictures(argc, argv);
    std::fputs("netrondo-app: this version draws pictures (netrondo circle --svg OUT FILE) and has no window yet\n",
               stderr);
    return 1;
}
