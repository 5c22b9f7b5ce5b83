#include "facade/client_binding.h"

#include <dlfcn.h>

#include <cstdio>

#include "facade/oscapi_handler.h"

namespace {
using CreateFn = int (*)(OSC_IID, IVeskOSC_Tendra**);
using ReleaseFn = int (*)(IVeskOSC_Tendra**);

// These lines always go to standard output, never to the host's log.
void print_line(const char* line) {
    std::printf("%s", line);
    std::fflush(stdout);
}
}  // namespace

std::string client_library_path(const char* dir) {
    const std::string base = dir != nullptr ? dir : "";
    if (base.empty()) return std::string("./") + kClientLibraryFile;
    return base + "/" + kClientLibraryFile;
}

bool OSCAPIHANDLER::_loadOscAPILib(const char* libDir) {
    m_pOscAPI.reset();
    m_hOscLib = dlopen(client_library_path(libDir).c_str(), RTLD_LAZY);
    if (m_hOscLib == nullptr) {
        print_line("Vesk_OSC.dll loading failed\n");
        return false;
    }
    // A library without the factory is treated like one whose factory fails.
    IVeskOSC_Tendra* client = nullptr;
    if (auto create = reinterpret_cast<CreateFn>(dlsym(m_hOscLib, "CreateVeskOscObject"))) {
        create(IID_OSCAPI, &client);
    }
    m_pOscAPI.reset(client);
    if (!m_pOscAPI) {
        print_line("Vesk_OSC.dll loading failed\n");
        return false;
    }
    m_pOscAPI->Initialize();
    print_line("Vesk_OSC.dll loading success\n");
    return true;
}

void OSCAPIHANDLER::_releaseOscAPILib() {
    if (m_hOscLib == nullptr) return;
    IVeskOSC_Tendra* client = m_pOscAPI.release();
    if (auto release = reinterpret_cast<ReleaseFn>(dlsym(m_hOscLib, "ReleaseVeskOscObject"))) {
        release(&client);
    }
    // The release function owns destruction; a client it did not clear is
    // left alone rather than destroyed twice.
    dlclose(m_hOscLib);
    m_hOscLib = nullptr;
    print_line("Vesk_OSC.dll released\n");
}
