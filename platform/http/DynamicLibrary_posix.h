#pragma once

#include <dlfcn.h>

namespace qvx::platform {

/// A shared library that is loaded when it is first needed, so that runs which do not need it do not pay for
/// it. Stays loaded until the process ends.
class DynamicLibrary {
public:
    /// \param name the library's file name with its version, as the loader looks it up
    explicit DynamicLibrary(const char* name) : handle_(::dlopen(name, RTLD_LAZY | RTLD_LOCAL)) {}

    explicit operator bool() const { return handle_ != nullptr; }

    /// Sets `function` to the one that is called `name`, in the library or in one that it needs; false when
    /// there is none. `function`'s type comes from the library's own header.
    template <class Function>
    [[nodiscard]] bool find(const char* name, Function*& function) const {
        function = handle_ ? reinterpret_cast<Function*>(::dlsym(handle_, name)) : nullptr;
        return function != nullptr;
    }

private:
    void* handle_;
};

} // namespace qvx::platform
