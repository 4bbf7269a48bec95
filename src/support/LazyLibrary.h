// LazyLibrary: a shared library opened on first use, for dependencies only some runs need.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

// The filter loads the USB, DNS-SD, TLS, Kerberos and Avahi libraries only when a run calls
// into them; an ordinary command job starts without any of them.
class LazyLibrary {
public:
    // |names|: file names tried in order on first use.
    explicit LazyLibrary(std::initializer_list<const char*> names);
    ~LazyLibrary();
    LazyLibrary(const LazyLibrary&) = delete;
    LazyLibrary& operator=(const LazyLibrary&) = delete;

    // Address of |name|, or null when neither the library nor the name can be found.
    void* symbol(const char* name);
    // Opens the library if that has not been tried yet; true when it is loaded.
    bool load();

private:
    std::vector<std::string> names_;
    void* handle_ = nullptr;
    bool tried_ = false;
};

// Declares |name| as a C function of the library |library| with the given signature: the
// first call looks the real function up, later calls go straight to it. When the library
// is missing the call returns |fallback| (or does nothing for void functions).
#define CFF_LAZY_FORWARD(library, ret, name, params, args, fallback)                    \
    extern "C" ret name params {                                                        \
        using Function = ret(*) params;                                                 \
        static Function function = reinterpret_cast<Function>((library).symbol(#name)); \
        return function != nullptr ? function args : static_cast<ret>(fallback);        \
    }
#define CFF_LAZY_FORWARD_VOID(library, name, params, args)                              \
    extern "C" void name params {                                                       \
        using Function = void(*) params;                                                \
        static Function function = reinterpret_cast<Function>((library).symbol(#name)); \
        if (function != nullptr) {                                                      \
            function args;                                                              \
        }                                                                               \
    }
