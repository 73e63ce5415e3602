#pragma once
// The one seam between the kit and the platform's dynamic loader.

#include <string>
#include <vector>

namespace qx::platform {

using library_handle = void*;

// Maps a library's Windows file name to this platform's file name:
// "quendral_vko_logger.dll" becomes "libquendral_vko_logger.so" on Linux and
// stays as it is on Windows. Names without ".dll" are returned unchanged.
std::string map_library_file_name(const std::string& windows_file_name);

// Directories searched for companion libraries and device modules, in order:
// every entry of QX_CAMERA_MODULE_PATH (':'-separated, ';' on Windows), then
// the kit library's own directory. The system search path comes last and is
// not listed here.
std::vector<std::string> module_search_directories();

// Loads a companion library by its Windows file name, searching the module
// directories first and then the system's search path. The library's
// symbols stay local to it. Returns null when it is not found.
library_handle load_library(const std::string& windows_file_name);

// Finds a library that is already loaded in the process by its Windows file
// name, without loading it; null when it is not loaded. The returned handle
// holds no reference of its own on Windows and must not be unloaded on POSIX
// beyond the reference this call takes (see release_found_library).
library_handle find_loaded_library(const std::string& windows_file_name);

// Drops the reference that find_loaded_library took (POSIX); no-op on Windows.
void release_found_library(library_handle handle);

// Loads one library file: a path, or a bare name resolved by the system's
// search path. Null when it cannot be loaded.
library_handle load_library_file(const std::string& file_name);

// Unloads a library loaded by load_library. Null is accepted.
void unload_library(library_handle handle);

// Address of an exported symbol, or null.
void* find_symbol(library_handle handle, const char* name);

// Full path of the library that contains this code (the kit library), or an
// empty text when it cannot be had.
std::string own_library_path();

// Whether a loaded object's file name is the wanted library file: the same
// name, or the same name followed by a version (".0", ".0.1.0").
bool is_same_library_file(const std::string& file_name, const std::string& wanted_file_name);

// The file-name part of a path (after the last '/' or '\').
std::string file_name_of(const std::string& path);

}  // namespace qx::platform
