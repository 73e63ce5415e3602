#include <windows.h>

#include <string>

#include "platform/thread_name.h"

namespace qx::platform {

namespace {

// The exception a debugger watches for to learn a thread's name.
constexpr DWORD set_thread_name_exception = 0x406D1388;

// The record the exception carries.
struct thread_name_info {
    DWORD type;       // always 0x1000
    LPCSTR name;      // the name's address
    DWORD thread_id;  // the thread being named
    DWORD flags;      // reserved, 0
};
static_assert(sizeof(thread_name_info) == 3 * sizeof(ULONG_PTR), "three pointer-sized exception arguments");

// Without a debugger nobody handles the exception; this handler continues
// execution so that it never reaches the application's frame-based
// handlers or ends the process.
LONG WINAPI continue_after_thread_name(EXCEPTION_POINTERS* exception) {
    if (exception->ExceptionRecord->ExceptionCode == set_thread_name_exception)
        return EXCEPTION_CONTINUE_EXECUTION;
    return EXCEPTION_CONTINUE_SEARCH;
}

void raise_thread_name_exception(const char* name) {
    thread_name_info info{0x1000, name, GetCurrentThreadId(), 0};
    // mingw has no __try; a vectored handler installed around the raise does
    // the same. An attached debugger sees the exception first; the handler
    // is added last, so that vectored handlers of the application (crash
    // reporters, diagnostics) see the name as a debugger would.
    PVOID handler = AddVectoredExceptionHandler(0, continue_after_thread_name);
    if (handler == nullptr)
        return;
    RaiseException(set_thread_name_exception, 0, sizeof(info) / sizeof(ULONG_PTR),
                   reinterpret_cast<const ULONG_PTR*>(&info));
    RemoveVectoredExceptionHandler(handler);
}

// SetThreadDescription (Windows 10 1607 and later) keeps the name with the
// thread, for debuggers attached later and for crash dumps. Looked up at run
// time so that the library still loads on older systems.
using set_thread_description_function = HRESULT(WINAPI*)(HANDLE, PCWSTR);

void set_thread_description(const char* name) {
    HMODULE kernel = GetModuleHandleA("kernel32.dll");
    if (kernel == nullptr)
        return;
    auto set_description = reinterpret_cast<set_thread_description_function>(
        reinterpret_cast<void*>(GetProcAddress(kernel, "SetThreadDescription")));
    if (set_description == nullptr)
        return;
    const int wide_length = MultiByteToWideChar(CP_UTF8, 0, name, -1, nullptr, 0);
    if (wide_length <= 0)
        return;
    std::wstring wide(static_cast<std::size_t>(wide_length), L'\0');
    if (MultiByteToWideChar(CP_UTF8, 0, name, -1, wide.data(), wide_length) <= 0)
        return;
    set_description(GetCurrentThread(), wide.c_str());
}

}  // namespace

void name_current_thread(const char* name) noexcept {
    if (name == nullptr)
        return;
    try {
        raise_thread_name_exception(name);
        set_thread_description(name);
    } catch (...) {
        // A name that cannot be set leaves the thread unnamed.
    }
}

}  // namespace qx::platform
