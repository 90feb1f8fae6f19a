/* A host in plain C: the header alone, no Qt, no display. */
#include <OvelInterface.h>

#include <stdio.h>

int main(void)
{
    tagYuvFrameInfo frame = {0};
    int code = OVEL_RENDER_FULL;
    frame.iWidth = 16;
    if (Ovel_CreateEx(&code, sizeof(code)) != NULL ||
        Ovel_ShowYuvFrame(&frame, &frame, sizeof(frame)) != -1 || Ovel_Release(NULL) != -1 ||
        Ovel_Release(&frame) != 0) {
        fputs("the library answers differently without a QApplication\n", stderr);
        return 1;
    }
    return 0;
}
