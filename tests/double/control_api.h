/*
 * Control interface of the client-library test double (libVesk_OSC.dylib).
 *
 * Tests reach these functions with dlsym on the same library instance that the
 * handler opens, so what the handler does to its client object can be observed
 * and scripted. Everything here lives at library scope: the call log and the
 * counters outlive the client objects, and vd_reset clears them.
 *
 * Call log: every client operation appends one line "Name(arg, arg, ...)":
 * the camera IP first, then the remaining arguments in interface order; ints
 * and shorts in decimal, bools as true/false, strings as they are (no quotes,
 * a null pointer as "(null)"). Lines of their own:
 *   ScanDevices()  Initialize()
 *   SetOscCallback(set) / SetOscCallback(null), same for SetMdnsCallback
 *   SetROI(ip, port, <srcWidth>x<srcHeight> -> <dstWidth>x<dstHeight>, <roiNum>)
 *     e.g. "SetROI(10.0.0.5, 8080, 3840x1920 -> 1920x1080, 2)"; the full
 *     layout of the last SetROI is kept for vd_last_layout.
 *
 * Deliveries (responses, discovery results, responder calls) run on a thread
 * owned by the client object, never inside the caller's call, in FIFO order.
 * vd_respond and vd_discover go to the newest live client object; with no live
 * object, or no callback registered when the delivery is handed over, the
 * delivery is dropped and counted.
 */
#ifndef OSC_TESTS_DOUBLE_CONTROL_API_H
#define OSC_TESTS_DOUBLE_CONTROL_API_H

#include "IVeskOSCHandlerInst.h"

#if defined(__GNUC__) || defined(__clang__)
#define VD_API __attribute__((visibility("default")))
#else
#define VD_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Called on a delivery thread after each recorded operation. ip is "" for
 * operations without a camera (ScanDevices, Initialize, callback setters). */
typedef void (*vd_responder)(const char* line, const char* ip, void* user);

/* Clears the log, the counters, the factory failure, the responder and the
 * last layout. Live client objects and their queued deliveries stay. */
VD_API void vd_reset(void);

/* ---- Call log */
/* Clears the log and the last layout. */
VD_API void vd_clear_calls(void);
VD_API int vd_call_count(void);
/* Copies line `index` into buffer (NUL-terminated, truncated to size - 1).
 * Returns the line's full length, or -1 when there is no such line. */
VD_API int vd_call_at(int index, char* buffer, int size);
/* 1 once the log holds at least `count` lines, 0 on timeout. */
VD_API int vd_wait_for_calls(int count, int timeout_ms);
/* 1 once some line starts with `prefix`, 0 on timeout. */
VD_API int vd_wait_for_call(const char* prefix, int timeout_ms);
/* Copies the layout of the last SetROI; 0 when there was none. */
VD_API int vd_last_layout(video_layout_format* out);

/* ---- Factory and counters */
/* While set, CreateVeskOscObject refuses and leaves *out null. */
VD_API void vd_fail_factory(int fail);
VD_API int vd_objects_created(void);
VD_API int vd_objects_released(void);
VD_API int vd_objects_alive(void);
VD_API int vd_factory_refusals(void);
VD_API int vd_initialize_calls(void);
/* Responses and discovery results handed to a registered callback. */
VD_API int vd_deliveries_done(void);
/* Responses and discovery results dropped: no object, no callback, or the
 * object was released before their turn came. */
VD_API int vd_deliveries_dropped(void);

/* ---- Deliveries (all strings are copied) */
VD_API void vd_respond(const char* text, const char* ip, int status);
VD_API void vd_discover(const char* const* entries, int count);
/* 1 once every queued delivery has been handed over and its callback has
 * returned (including deliveries queued meanwhile), 0 on timeout. */
VD_API int vd_wait_idle(int timeout_ms);
/* Replaces the responder (null switches it off). Returns only when no call of
 * the previous responder is running, unless called from inside a responder. */
VD_API void vd_set_responder(vd_responder responder, void* user);

#ifdef __cplusplus
}
#endif

#endif /* OSC_TESTS_DOUBLE_CONTROL_API_H */
