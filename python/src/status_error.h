#pragma once
// A failed SDK or emulator call as a C++ exception: the status code and the
// calling thread's last-error text, read at once so that a later call on the
// same thread cannot replace it. The module turns it into the package's
// Python exception classes.

#include <stdexcept>
#include <string>

namespace qx::python {

class status_error : public std::runtime_error {
  public:
    status_error(int status, std::string text, bool from_emulator = false);
    int status() const noexcept { return status_; }
    bool from_emulator() const noexcept { return from_emulator_; }

  private:
    int status_;
    bool from_emulator_;
};

// Throws a status_error carrying the kit's last error unless status is 0.
void check_sdk(int status);
// Throws a status_error carrying the emulator's last error unless status is 0.
void check_emulator(int status);

}  // namespace qx::python
