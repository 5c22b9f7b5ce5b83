// The shared library as the handler loads it: by file name, through its two
// exported functions, with the interface identifier checked.
#include <dlfcn.h>

#include "client_harness.h"

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

}  // namespace
}  // namespace osctest
