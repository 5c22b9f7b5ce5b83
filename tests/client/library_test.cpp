// The shared library as the handler loads it: by file name, through its two
// exported functions, with the interface identifier checked.
#include <dlfcn.h>

#include <atomic>
#include <thread>

#include "client_harness.h"
#include "support/process_usage.h"

namespace osctest {
namespace {

using Create = int (*)(OSC_IID, IVeskOSC_Tendra**);
using Release = int (*)(IVeskOSC_Tendra**);

TEST_F(ClientTest, LoadedLibraryTalksToTheCamera) {
    void* lib = dlopen(OSC_CLIENT_LIBRARY, RTLD_LAZY);
    ASSERT_NE(lib, nullptr) << dlerror();
    auto create = reinterpret_cast<Create>(dlsym(lib, "CreateVeskOscObject"));
    auto release = reinterpret_cast<Release>(dlsym(lib, "ReleaseVeskOscObject"));
    ASSERT_NE(create, nullptr);
    ASSERT_NE(release, nullptr);
    EXPECT_EQ(dlsym(lib, "_ZN9oscclient9OscClientD0Ev"), nullptr);  // internals stay hidden

    IVeskOSC_Tendra* object = reinterpret_cast<IVeskOSC_Tendra*>(0x1);
    OSC_IID wrong = IID_OSCAPI;
    wrong.bytes[15] ^= 1;
    EXPECT_NE(create(wrong, &object), 0);
    EXPECT_EQ(object, nullptr);

    ASSERT_EQ(create(IID_OSCAPI, &object), 0);
    ASSERT_NE(object, nullptr);
    object->Initialize();
    object->SetOscCallback(record_answer);
    object->SetContrast(ip(), 12, port());
    const Answer a = one_answer();
    EXPECT_EQ(a.status, 0);
    EXPECT_EQ(a.doc()["func"], "SetContrast");
    EXPECT_EQ(sim->snapshot()["options"]["_contrast"], 12);
    EXPECT_EQ(release(&object), 0);
    EXPECT_EQ(object, nullptr);
    dlclose(lib);
}

long settled_thread_count() {
    long count = ProcessUsage{}.threads;
    for (int i = 0; i < 40; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        const long now = ProcessUsage{}.threads;
        if (now == count) break;
        count = now;
    }
    return count;
}

std::atomic<int> g_late_answers{0};
std::atomic<bool> g_released{false};

void count_after_release(const char*, const char*, int) {
    if (g_released) ++g_late_answers;
}

TEST_F(ClientTest, ReleaseJoinsEveryThreadAndNoAnswerFollowsIt) {
    void* lib = dlopen(OSC_CLIENT_LIBRARY, RTLD_LAZY);
    ASSERT_NE(lib, nullptr) << dlerror();
    auto create = reinterpret_cast<Create>(dlsym(lib, "CreateVeskOscObject"));
    auto release = reinterpret_cast<Release>(dlsym(lib, "ReleaseVeskOscObject"));
    // The simulator's server starts its thread pool in the background.
    const long threads_before = settled_thread_count();

    oscsim::Faults silent;
    silent.never_answer = true;
    sim->set_faults(silent);
    IVeskOSC_Tendra* object = nullptr;
    ASSERT_EQ(create(IID_OSCAPI, &object), 0);
    object->Initialize();
    object->SetOscCallback(count_after_release);
    // Requests held by the camera, and more queued behind them.
    for (int i = 0; i < 8; ++i) object->SetBrightness(ip(), i, port());
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_GT(ProcessUsage{}.threads, threads_before);

    g_released = false;
    EXPECT_EQ(release(&object), 0);
    g_released = true;
    EXPECT_EQ(ProcessUsage{}.threads, threads_before) << "release left threads running";
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(g_late_answers, 0);
    sim->set_faults({});
    dlclose(lib);
}

}  // namespace
}  // namespace osctest
