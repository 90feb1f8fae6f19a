// Looks for leaks while Mesa's driver is still loaded: afterwards its frames have no names any more, and no
// suppression finds them. Linked into test programs of address sanitizer builds only.
#include <QCoreApplication>

extern "C" void __lsan_do_leak_check();

namespace
{

void CheckWhenTheApplicationEnds()
{
    qAddPostRoutine([] { __lsan_do_leak_check(); });
}
Q_COREAPP_STARTUP_FUNCTION(CheckWhenTheApplicationEnds)

} // namespace
