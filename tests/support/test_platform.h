#pragma once
// What the tests need from the operating system, the same on Linux and on
// Windows: library file names, loading libraries by path, finding exports,
// and changing the process environment.

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace qx::test {

// The file name of a library by its base name: "quendral_vko_logger.dll" on
// Windows, "libquendral_vko_logger.so" elsewhere.
inline std::string library_file(const std::string& base_name) {
#if defined(_WIN32)
    return base_name + ".dll";
#else
    return "lib" + base_name + ".so";
#endif
}

// A library's path in a directory.
inline std::string library_path(const std::string& directory, const std::string& base_name) {
    return directory + "/" + library_file(base_name);
}

// Loads a library by path with its symbols kept to itself; null when it
// cannot be loaded. `keep_loaded` pins it for the rest of the process.
inline void* load_library(const std::string& path, bool keep_loaded = false) {
#if defined(_WIN32)
    HMODULE module = LoadLibraryA(path.c_str());
    if (module != nullptr && keep_loaded) {
        HMODULE pinned = nullptr;
        GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                           reinterpret_cast<LPCSTR>(module), &pinned);
    }
    return reinterpret_cast<void*>(module);
#else
    return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | (keep_loaded ? RTLD_NODELETE : 0));
#endif
}

// As load_library, but a library that cannot be loaded is an exception.
inline void* load_library_or_throw(const std::string& path, bool keep_loaded = false) {
    if (void* handle = load_library(path, keep_loaded))
        return handle;
#if defined(_WIN32)
    throw std::runtime_error("cannot load " + path + ": error " + std::to_string(GetLastError()));
#else
    throw std::runtime_error("cannot load " + path + ": " + dlerror());
#endif
}

// A library the process has already loaded, by base name, without loading
// it; release it with unload_library.
inline void* find_loaded_library(const std::string& base_name) {
#if defined(_WIN32)
    HMODULE module = nullptr;
    GetModuleHandleExA(0, library_file(base_name).c_str(), &module);
    return reinterpret_cast<void*>(module);
#else
    return dlopen(library_file(base_name).c_str(), RTLD_NOW | RTLD_NOLOAD);
#endif
}

inline void unload_library(void* handle) {
    if (handle == nullptr)
        return;
#if defined(_WIN32)
    FreeLibrary(reinterpret_cast<HMODULE>(handle));
#else
    dlclose(handle);
#endif
}

inline void* find_symbol(void* handle, const char* name) {
#if defined(_WIN32)
    return reinterpret_cast<void*>(GetProcAddress(reinterpret_cast<HMODULE>(handle), name));
#else
    return dlsym(handle, name);
#endif
}

// Sets (or with a null value removes) an environment variable of this
// process, where both the C runtime and the system see it.
inline void set_environment(const char* name, const char* value) {
#if defined(_WIN32)
    _putenv_s(name, value == nullptr ? "" : value);
    SetEnvironmentVariableA(name, value);
#else
    if (value == nullptr)
        unsetenv(name);
    else
        setenv(name, value, 1);
#endif
}

// Seconds since the epoch of a broken-down UTC time.
inline std::time_t utc_seconds(std::tm& time) {
#if defined(_WIN32)
    return _mkgmtime(&time);
#else
    return timegm(&time);
#endif
}

// A new, empty directory under the system's temporary directory whose name
// starts with `prefix`.
inline std::filesystem::path make_unique_directory(const std::string& prefix) {
    static std::atomic<unsigned> counter{0};
    const auto base = std::filesystem::temp_directory_path();
    const auto stamp = static_cast<unsigned long long>(std::chrono::steady_clock::now().time_since_epoch().count());
    for (int attempt = 0; attempt < 100; ++attempt) {
        const auto candidate =
            base / (prefix + std::to_string(stamp) + "_" + std::to_string(counter.fetch_add(1)));
        if (std::filesystem::create_directory(candidate))
            return candidate;
    }
    throw std::runtime_error("cannot make a temporary directory");
}

}  // namespace qx::test
