// Test-side handle on the client-library double: it opens the file the handler
// opens, so both share one instance and one DoubleState.
#pragma once

#include <dlfcn.h>

#include <stdexcept>
#include <string>

#include "double/double_state.h"

#ifndef OSC_DOUBLE_DIR
#error "OSC_DOUBLE_DIR must name the directory of the client-library double"
#endif

class ClientDouble {
public:
    ClientDouble() {
        // NODELETE: a leaked client object's thread must never outlive the code.
        handle_ = dlopen((directory() + "/libVesk_OSC.dylib").c_str(), RTLD_NOW | RTLD_NODELETE);
        auto* state = handle_ != nullptr ? dlsym(handle_, "vd_state") : nullptr;
        if (state == nullptr) throw std::runtime_error("cannot open the client double");
        state_ = reinterpret_cast<DoubleState* (*)()>(state)();
        state_->reset();
    }
    ~ClientDouble() {
        state_->reset();  // the responder may point into the test
        dlclose(handle_);
    }
    ClientDouble(const ClientDouble&) = delete;
    ClientDouble& operator=(const ClientDouble&) = delete;

    // The directory to pass to Init.
    static std::string directory() { return OSC_DOUBLE_DIR; }
    DoubleState& operator*() const { return *state_; }
    DoubleState* operator->() const { return state_; }

private:
    void* handle_ = nullptr;
    DoubleState* state_ = nullptr;
};
