#pragma once
// The names of running threads as the system keeps them (the first 15
// characters on Linux, the whole name as the thread's description on
// Windows), where a debugger, `top -H` or a Windows profiler reads them.

#if defined(_WIN32)
// clang-format off
#include <windows.h>
#include <tlhelp32.h>
// clang-format on
#else
#include <pthread.h>

#include <filesystem>
#include <fstream>
#endif

#include <set>
#include <string>

namespace qx::test {

// A name as the system keeps it once a thread is given it.
inline std::string name_as_the_system_keeps_it(const std::string& name) {
#if defined(_WIN32)
    return name;
#else
    return name.substr(0, 15);
#endif
}

#if defined(_WIN32)
// A thread's description; GetThreadDescription exists from Windows 10 1607
// on, so it is found at run time.
inline std::string description_of_thread(HANDLE thread) {
    using get_description_function = HRESULT(WINAPI*)(HANDLE, PWSTR*);
    static const auto get_description = reinterpret_cast<get_description_function>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleA("kernel32.dll"), "GetThreadDescription")));
    if (get_description == nullptr)
        return "<no GetThreadDescription>";
    PWSTR wide = nullptr;
    if (FAILED(get_description(thread, &wide)) || wide == nullptr)
        return "<unreadable>";
    std::string narrow;
    for (const wchar_t* c = wide; *c != L'\0'; ++c) narrow += static_cast<char>(*c);
    LocalFree(wide);
    return narrow;
}
#endif

// One entry per thread of this process, so that a name can be counted.
inline std::multiset<std::string> names_of_threads_in_this_process() {
    std::multiset<std::string> names;
#if defined(_WIN32)
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snapshot == INVALID_HANDLE_VALUE)
        return names;
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
        if (entry.th32OwnerProcessID != GetCurrentProcessId())
            continue;
        if (const HANDLE thread = OpenThread(THREAD_QUERY_LIMITED_INFORMATION, FALSE, entry.th32ThreadID)) {
            names.insert(description_of_thread(thread));
            CloseHandle(thread);
        }
    }
    CloseHandle(snapshot);
#else
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream comm(task.path() / "comm");
        std::string name;
        if (std::getline(comm, name))
            names.insert(name);
    }
#endif
    return names;
}

inline std::string name_of_this_thread() {
#if defined(_WIN32)
    return description_of_thread(GetCurrentThread());
#else
    char name[64] = {};
    if (pthread_getname_np(pthread_self(), name, sizeof name) != 0)
        return "<unreadable>";
    return name;
#endif
}

}  // namespace qx::test
