#pragma once
// What the tests need from the operating system beyond the kit's platform
// seam (which loads libraries and finds exports, see loaded_library.h), the
// same on Linux and on Windows: library file names, changes to the process
// environment, UTC time and temporary directories.

#if defined(_WIN32)
#include <windows.h>
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
