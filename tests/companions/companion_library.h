#pragma once
// Loads a companion library the way the kit does: by path, with its symbols
// kept local. Companions must never be linked into a test directly (the
// hot-plug monitor's "open" and "close" would replace the C library's).

#include "support/test_platform.h"

#include <stdexcept>
#include <string>

namespace qx::test {

class companion_library {
  public:
    explicit companion_library(const std::string& path)
        // As the kit loads companions: local symbols, and never unmapped.
        : handle_(load_library_or_throw(path, true)) {}
    ~companion_library() { unload_library(handle_); }
    companion_library(const companion_library&) = delete;
    companion_library& operator=(const companion_library&) = delete;

    void* get_handle() const { return handle_; }

    // The exported function, or a test failure naming the missing symbol.
    template <typename function_type>
    function_type find_function(const char* name) const {
        void* address = find_symbol(handle_, name);
        if (address == nullptr)
            throw std::runtime_error(std::string("missing export ") + name);
        return reinterpret_cast<function_type>(address);
    }

  private:
    void* handle_;
};

}  // namespace qx::test
