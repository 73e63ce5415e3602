#include <cstdlib>

#include "platform/shared_library.h"

namespace qx::platform {

namespace {
#if defined(_WIN32)
constexpr char path_list_separator = ';';
constexpr char directory_separator = '\\';
#else
constexpr char path_list_separator = ':';
constexpr char directory_separator = '/';
#endif
}  // namespace

std::string map_library_file_name(const std::string& windows_file_name) {
#if defined(_WIN32)
    return windows_file_name;
#else
    static const std::string dll_suffix = ".dll";
    if (windows_file_name.size() <= dll_suffix.size() ||
        windows_file_name.compare(windows_file_name.size() - dll_suffix.size(), dll_suffix.size(),
                                  dll_suffix) != 0) {
        return windows_file_name;
    }
    return "lib" + windows_file_name.substr(0, windows_file_name.size() - dll_suffix.size()) + ".so";
#endif
}

std::string file_name_of(const std::string& path) {
    const auto cut = path.find_last_of("/\\");
    return cut == std::string::npos ? path : path.substr(cut + 1);
}

bool is_same_library_file(const std::string& file_name, const std::string& wanted_file_name) {
    if (file_name.compare(0, wanted_file_name.size(), wanted_file_name) != 0)
        return false;
    const std::string version = file_name.substr(wanted_file_name.size());
    if (version.empty())
        return true;
    // A program linked against the library loads it by its SONAME, which
    // carries the ABI version: "libX.so.0" (or "libX.so.0.1.0") is "libX.so".
    if (version.size() < 2 || version.front() != '.' || version.back() == '.')
        return false;
    for (std::size_t i = 1; i < version.size(); ++i) {
        const char c = version[i];
        if (!(c >= '0' && c <= '9') && !(c == '.' && version[i - 1] != '.'))
            return false;
    }
    return true;
}

std::vector<std::string> module_search_directories() {
    std::vector<std::string> directories;
    if (const char* list = std::getenv("QX_CAMERA_MODULE_PATH")) {
        std::string entries(list);
        std::size_t start = 0;
        while (start <= entries.size()) {
            auto end = entries.find(path_list_separator, start);
            if (end == std::string::npos)
                end = entries.size();
            if (end > start)
                directories.push_back(entries.substr(start, end - start));
            start = end + 1;
        }
    }
    const std::string own = own_library_path();
    const auto cut = own.find_last_of("/\\");
    if (cut != std::string::npos)
        directories.push_back(own.substr(0, cut));
    return directories;
}

library_handle load_library(const std::string& windows_file_name) {
    const std::string file_name = map_library_file_name(windows_file_name);
    for (const auto& directory : module_search_directories()) {
        if (library_handle handle = load_library_file(directory + directory_separator + file_name))
            return handle;
    }
    return load_library_file(file_name);
}

}  // namespace qx::platform
