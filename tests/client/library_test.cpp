// The shared library as the handler loads it: by file name, through its two
// exported functions, with the interface identifier checked; release leaves
// no thread behind.
#include <dlfcn.h>

#include <thread>

#include "client_harness.h"
#include "support/process_usage.h"

namespace osctest {
namespace {

using Create = int (*)(OSC_IID, IVeskOSC_Tendra**);
using Release = int (*)(IVeskOSC_Tendra**);

long settled_thread_count() {
    long count = ProcessUsage{}.threads;
    for (int i = 0; i < 40; ++i) {
        std::this_thread::sleep_for(50ms);
        const long now = ProcessUsage{}.threads;
        if (now == count) break;
        count = now;
    }
    return count;
}

TEST_F(ClientTest, LoadedLibraryTalksToTheCameraAndReleasesEveryThread) {
    void* lib = dlopen(OSC_CLIENT_LIBRARY, RTLD_LAZY);
    ASSERT_NE(lib, nullptr) << dlerror();
    auto create = reinterpret_cast<Create>(dlsym(lib, "CreateVeskOscObject"));
    auto release = reinterpret_cast<Release>(dlsym(lib, "ReleaseVeskOscObject"));
    ASSERT_NE(create, nullptr);
    ASSERT_NE(release, nullptr);
    EXPECT_EQ(dlsym(lib, "_ZN9oscclient9OscClientD0Ev"), nullptr);  // internals stay hidden
    // The simulator's server starts its thread pool in the background.
    const long threads_before = settled_thread_count();

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
    EXPECT_EQ(a.doc()["func"], "SetContrast");
    EXPECT_EQ(sim->snapshot()["options"]["_contrast"], 12);
    EXPECT_GT(ProcessUsage{}.threads, threads_before);
    EXPECT_EQ(release(&object), 0);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(ProcessUsage{}.threads, threads_before) << "release left threads running";
    dlclose(lib);
}

}  // namespace
}  // namespace osctest
