#pragma once
// A library loaded through the kit's own platform seam: by path, with its
// symbols kept local and never unmapped, exactly as the kit loads companions
// and device modules. Companions must never be linked into a test directly
// (the hot-plug monitor's "open" and "close" would replace the C library's).

#include <stdexcept>
#include <string>

#include "platform/shared_library.h"

namespace qx::test {

class loaded_library {
  public:
    explicit loaded_library(const std::string& path) : handle_(platform::load_library_file(path)) {
        if (handle_ == nullptr)
            throw std::runtime_error("cannot load " + path);
    }
    ~loaded_library() { platform::unload_library(handle_); }
    loaded_library(const loaded_library&) = delete;
    loaded_library& operator=(const loaded_library&) = delete;

    platform::library_handle get_handle() const { return handle_; }

    // The exported function; a missing one fails with its name.
    template <typename function_type>
    function_type find_function(const char* name) const {
        void* address = platform::find_symbol(handle_, name);
        if (address == nullptr)
            throw std::runtime_error(std::string("missing export ") + name);
        return reinterpret_cast<function_type>(address);
    }

  private:
    platform::library_handle handle_;
};

}  // namespace qx::test
