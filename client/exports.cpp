// The library's two entry points: the factory, which checks the interface
// identifier, and the release, which joins every thread of the client.
#include <cstring>

#include "IVeskOSC_Tendra.h"
#include "client/osc_client.h"

extern "C" __attribute__((visibility("default"))) int CreateVeskOscObject(OSC_IID iid,
                                                                          IVeskOSC_Tendra** out) {
    if (!out) return -1;
    *out = nullptr;
    if (std::memcmp(iid.bytes, IID_OSCAPI.bytes, sizeof iid.bytes) != 0) return -1;
    try {
        *out = new oscclient::OscClient(oscclient::ClientOptions::from_environment());
    } catch (const std::exception&) {
        return -1;
    }
    return 0;
}

extern "C" __attribute__((visibility("default"))) int ReleaseVeskOscObject(IVeskOSC_Tendra** obj) {
    if (!obj || !*obj) return -1;
    delete *obj;
    *obj = nullptr;
    return 0;
}
