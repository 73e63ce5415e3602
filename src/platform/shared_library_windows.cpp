#include <windows.h>

#include "platform/shared_library.h"

namespace qx::platform {

library_handle load_library_file(const std::string& file_name) {
    HMODULE module = LoadLibraryA(file_name.c_str());
    // Pinned, as RTLD_NODELETE does on POSIX: a module's hot-plug callback
    // or a thread of its own may still be about when the kit lets go of it,
    // and must never find its code unmapped.
    if (module != nullptr) {
        HMODULE pinned = nullptr;
        GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                           reinterpret_cast<LPCSTR>(module), &pinned);
    }
    return reinterpret_cast<library_handle>(module);
}

library_handle find_loaded_library(const std::string& windows_file_name) {
    return reinterpret_cast<library_handle>(GetModuleHandleA(windows_file_name.c_str()));
}

void release_found_library(library_handle) {}

void unload_library(library_handle handle) {
    if (handle != nullptr)
        FreeLibrary(reinterpret_cast<HMODULE>(handle));
}

void* find_symbol(library_handle handle, const char* name) {
    if (handle == nullptr || name == nullptr)
        return nullptr;
    return reinterpret_cast<void*>(GetProcAddress(reinterpret_cast<HMODULE>(handle), name));
}

std::string own_library_path() {
    HMODULE self = nullptr;
    if (!GetModuleHandleExA(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCSTR>(&own_library_path), &self)) {
        return {};
    }
    char path[260] = {};
    const DWORD length = GetModuleFileNameA(self, path, sizeof(path));
    if (length == 0 || length >= sizeof(path))
        return {};
    return std::string(path, length);
}

}  // namespace qx::platform
