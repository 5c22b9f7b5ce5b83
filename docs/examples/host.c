#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include "IVeskOSCHandlerInst.h"

/* The callbacks run on the library's threads: count under a lock. */
static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t answered = PTHREAD_COND_INITIALIZER;
static int answers;

static void count_answer(void) {
    pthread_mutex_lock(&lock);
    ++answers;
    pthread_cond_signal(&answered);
    pthread_mutex_unlock(&lock);
}
static void on_params(const char* ip, const char* json) {
    printf("%s %s\n", ip, json);
    count_answer();
}
static void on_result(const char* ip, const char* cmd, bool ok, const char* msg) {
    printf("%s %s %s %s\n", ip, cmd, ok ? "ok" : "failed", msg);
    if (strcmp(cmd, "SetBrightness") == 0) count_answer();
}

/* host [IP [PORT [LIBDIR]]]: defaults are a simulated camera on this machine. */
int main(int argc, char** argv) {
    const char* ip = argc > 1 ? argv[1] : "127.0.0.1";
    const int port = argc > 2 ? atoi(argv[2]) : 8080;
    Init(argc > 3 ? argv[3] : "/opt/osc/lib"); /* directory of libVesk_OSC.dylib */
    SetDataCallback(NULL, on_params, on_result, NULL);
    GetCameraSettings(ip, port, false); /* full parameter document */
    SetBrightness(ip, port, 40);

    /* Both answers, or give up after 15 s (a silent camera takes 5 s a command). */
    struct timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += 15;
    pthread_mutex_lock(&lock);
    while (answers < 2 && pthread_cond_timedwait(&answered, &lock, &deadline) == 0) {
    }
    const int got = answers;
    pthread_mutex_unlock(&lock);
    Destroy();
    return got == 2 ? 0 : 1;
}
