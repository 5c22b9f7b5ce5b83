#include <stdio.h>
#include "IVeskOSCHandlerInst.h"

static void on_params(const char* ip, const char* json) {
    printf("%s %s\n", ip, json);
}
static void on_result(const char* ip, const char* cmd, bool ok, const char* msg) {
    printf("%s %s %s %s\n", ip, cmd, ok ? "ok" : "failed", msg);
}

int main(void) {
    Init("/opt/osc/lib"); /* directory of libVesk_OSC.dylib */
    SetDataCallback(NULL, on_params, on_result, NULL);
    GetCameraSettings("192.0.2.10", 8080, false); /* full parameter document */
    SetBrightness("192.0.2.10", 8080, 40);
    /* ... the answers arrive through the callbacks ... */
    Destroy();
    return 0;
}
