// LazyLibrary: a shared library opened on first use, for dependencies only some runs need.
#include "support/LazyLibrary.h"

#include <dlfcn.h>

LazyLibrary::LazyLibrary(std::initializer_list<const char*> names) : names_(names.begin(), names.end()) {}

// The library stays loaded until exit: its functions may still be registered as callbacks.
LazyLibrary::~LazyLibrary() = default;

bool LazyLibrary::load() {
    if (!tried_) {
        tried_ = true;
        for (const std::string& name : names_) {
            handle_ = dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
            if (handle_ != nullptr) {
                break;
            }
        }
    }
    return handle_ != nullptr;
}

void* LazyLibrary::symbol(const char* name) {
    return load() ? dlsym(handle_, name) : nullptr;
}
