// Both public headers must stand alone and stay clean under -pedantic in C++
// as they are in C (c_host.c); the handler's own sources include them only
// after other headers.
#include "IVeskOSCHandlerInst.h"
#include "IVeskOSC_Tendra.h"

#include <type_traits>

static_assert(sizeof(video_layout_format) == 266, "the ROI layout crosses the ABI by value");
static_assert(std::is_trivially_copyable_v<video_layout_format>, "passed by value to C callers");
static_assert(sizeof(OSC_IID) == 16, "the interface id is 16 bytes by value");
static_assert(std::has_virtual_destructor_v<IVeskOSC_Tendra>, "clients are deleted via the base");
