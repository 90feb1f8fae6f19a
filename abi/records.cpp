// Every record that crosses the boundary by address: most calls take void*, so the library's own debug
// information does not lead to them.
#include <OvelHelpers.h>
#include <OvelInterface.h>
#include <OvelOsSdk.h>

extern "C" OVEL_API void Records(tagQRECT*, tagQPOINT*, tagYuvFrameInfo*, __tagQDrawGraphInfo*,
                                 __tagQDrawCallbackInfo*, tagOvelDrawCallback*, tagOvelZoomArea*,
                                 tagOvelVideoRotate*, tagOvelColor*, tagOvelFrameRef*, tagOsStrArray*)
{
}
