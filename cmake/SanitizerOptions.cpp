// The options of the sanitizers, compiled into every program of their builds: whoever starts one, and however, gets them.
extern "C" {

#define OVEL_ASKED_BY_RUNTIME __attribute__((visibility("default"), used))

OVEL_ASKED_BY_RUNTIME const char* __asan_default_options()
{
    return "allocator_may_return_null=1:detect_odr_violation=0";
}

OVEL_ASKED_BY_RUNTIME const char* __ubsan_default_options()
{
    return "print_stacktrace=1:halt_on_error=1";
}

OVEL_ASKED_BY_RUNTIME const char* __tsan_default_options()
{
    return "halt_on_error=1:detect_deadlocks=0";
}

OVEL_ASKED_BY_RUNTIME const char* __lsan_default_options()
{
    return "print_suppressions=0";
}

// What libraries under Qt (session bus, fonts), its VNC platform and Mesa keep until the process ends.
OVEL_ASKED_BY_RUNTIME const char* __lsan_default_suppressions()
{
    return "leak:libdbus-1.so.3\n"
           "leak:swrast_dri.so\n"
           "leak:libfontconfig.so.1\n"
           "leak:libqvnc.so\n";
}

// Qt, Mesa and what they bring along are not instrumented: calls from these libraries into intercepted functions look
// like races among themselves. No line may name this library or a test. libxcb locks through functions that the lines
// before it hide; EGL enters it from elsewhere than GLX.
OVEL_ASKED_BY_RUNTIME const char* __tsan_default_suppressions()
{
    return "called_from_lib:libQt5Core.so.5\n"
           "called_from_lib:libQt5DBus.so.5\n"
           "called_from_lib:swrast_dri.so\n"
           "called_from_lib:libQt5XcbQpa.so.5\n"
           "mutex:libxcb.so.1\n"
           "race:libxcb.so.1\n";
}

} // extern "C"

#ifdef __SANITIZE_ADDRESS__
// Programs with Qt look for leaks while Mesa's driver is still loaded: afterwards its frames have no names any more, and
// no suppression finds them.
#include <sanitizer/lsan_interface.h>

__attribute__((weak)) void qAddPreRoutine(void (*)());
__attribute__((weak)) void qAddPostRoutine(void (*)());

namespace
{

const bool isAsked = [] {
    if (qAddPreRoutine != nullptr) {
        qAddPreRoutine([] { qAddPostRoutine([] { __lsan_do_leak_check(); }); });
    }
    return true;
}();

} // namespace
#endif
