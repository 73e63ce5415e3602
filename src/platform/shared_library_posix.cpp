#include <dlfcn.h>
#include <link.h>

#include <cstring>

#include "platform/shared_library.h"

namespace qx::platform {

library_handle load_library_file(const std::string& file_name) {
    // RTLD_LOCAL keeps a companion's exports (the hot-plug monitor's "open"
    // and "close", a module's "create") out of the process's global scope.
    // RTLD_NODELETE keeps a library mapped once loaded: a module's hot-plug
    // callback or a thread of its own may still be about when the kit lets
    // go of it, and must never find its code unmapped.
    return dlopen(file_name.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
}

namespace {
struct loaded_library_search {
    const char* wanted_file_name;
    std::string found_path;
};

int match_loaded_object(struct dl_phdr_info* info, size_t, void* data) {
    auto* search = static_cast<loaded_library_search*>(data);
    if (info->dlpi_name == nullptr || info->dlpi_name[0] == '\0')
        return 0;
    if (is_same_library_file(file_name_of(info->dlpi_name), search->wanted_file_name)) {
        search->found_path = info->dlpi_name;
        return 1;
    }
    return 0;
}
}  // namespace

library_handle find_loaded_library(const std::string& windows_file_name) {
    const std::string file_name = map_library_file_name(windows_file_name);
    // Match by file name among the loaded objects rather than by soname, so
    // that a library loaded through an explicit path is found as well.
    loaded_library_search search{file_name.c_str(), {}};
    dl_iterate_phdr(match_loaded_object, &search);
    if (search.found_path.empty())
        return nullptr;
    return dlopen(search.found_path.c_str(), RTLD_NOW | RTLD_NOLOAD);
}

void release_found_library(library_handle handle) {
    if (handle != nullptr)
        dlclose(handle);
}

void unload_library(library_handle handle) {
    if (handle != nullptr)
        dlclose(handle);
}

void* find_symbol(library_handle handle, const char* name) {
    if (handle == nullptr || name == nullptr)
        return nullptr;
    return dlsym(handle, name);
}

std::string own_library_path() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&own_library_path), &info) == 0 || info.dli_fname == nullptr)
        return {};
    return info.dli_fname;
}

}  // namespace qx::platform
