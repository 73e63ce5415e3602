// Naming the calling thread, read back through the system: POSIX keeps the
// first fifteen characters, Windows keeps the whole name as the thread's
// description and also announces it to a debugger with exception 0x406D1388.

#include <gtest/gtest.h>

#if defined(_WIN32)
#include <windows.h>
#else
#include <pthread.h>
#endif

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "platform/thread_name.h"

namespace {

#if defined(_WIN32)
// GetThreadDescription exists from Windows 10 1607 on: found at run time.
std::string read_own_thread_name() {
    using get_description_function = HRESULT(WINAPI*)(HANDLE, PWSTR*);
    auto get_description = reinterpret_cast<get_description_function>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleA("kernel32.dll"), "GetThreadDescription")));
    if (get_description == nullptr)
        return "<no GetThreadDescription>";
    PWSTR wide = nullptr;
    if (FAILED(get_description(GetCurrentThread(), &wide)) || wide == nullptr)
        return "<unreadable>";
    std::string narrow;
    for (const wchar_t* c = wide; *c != L'\0'; ++c) narrow += static_cast<char>(*c);
    LocalFree(wide);
    return narrow;
}
std::string seen_name(const char* name) {
    return name;
}
#else
std::string read_own_thread_name() {
    char read_back[64] = {};
    if (pthread_getname_np(pthread_self(), read_back, sizeof read_back) != 0)
        return "<unreadable>";
    return read_back;
}
std::string seen_name(const char* name) {
    return std::string(name).substr(0, 15);
}
#endif

// Names a fresh thread and reads its name back from the system.
std::string name_seen_after_naming(const char* name) {
    std::string seen;
    std::thread worker([&] {
        qx::platform::name_current_thread(name);
        seen = read_own_thread_name();
    });
    worker.join();
    return seen;
}

TEST(thread_name, the_system_sees_the_name_as_the_platform_keeps_it) {
    for (const char* name : {"short", "exactly_15_char", "ACQUISITION FRAME LOOP", "ACQUISITION PACKET LOOP",
                             "RALTO_CONNECT_DISCONNECT", "QV_CONNECT_DISCONNECT", ""}) {
        EXPECT_EQ(name_seen_after_naming(name), seen_name(name)) << '"' << name << '"';
    }
}

TEST(thread_name, the_kit_thread_names_stay_distinct_as_the_system_keeps_them) {
    const char* names[] = {"ACQUISITION FRAME LOOP", "ACQUISITION PACKET LOOP", "RALTO_CONNECT_DISCONNECT",
                           "QV_CONNECT_DISCONNECT"};
    std::vector<std::string> seen;
    for (const char* name : names) seen.push_back(name_seen_after_naming(name));
    for (std::size_t first = 0; first < seen.size(); ++first) {
        for (std::size_t second = first + 1; second < seen.size(); ++second) {
            EXPECT_NE(seen[first], seen[second]) << names[first] << " / " << names[second];
        }
    }
}

TEST(thread_name, a_null_name_leaves_the_thread_name_unchanged) {
    std::string after;
    std::thread worker([&] {
        qx::platform::name_current_thread("before null");
        qx::platform::name_current_thread(nullptr);
        after = read_own_thread_name();
    });
    worker.join();
    EXPECT_EQ(after, "before null");
}

#if defined(_WIN32)
// What a debugger would have been told: the exception's code and record.
std::atomic<int> announcements{0};
std::string announced_name;
DWORD announced_thread = 0;

LONG WINAPI watch_thread_name_exception(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    if (record.ExceptionCode == 0x406D1388 && record.NumberParameters == 3 &&
        record.ExceptionInformation[0] == 0x1000) {
        announced_name = reinterpret_cast<const char*>(record.ExceptionInformation[1]);
        announced_thread = static_cast<DWORD>(record.ExceptionInformation[2]);
        announcements.fetch_add(1);
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

TEST(thread_name, windows_announces_the_name_to_a_debugger_and_carries_on) {
    // The application's own vectored handler sees the exception, as a
    // debugger would; the kit's handler, behind it, lets the thread go on.
    DWORD named_thread = 0;
    PVOID watcher = AddVectoredExceptionHandler(1, watch_thread_name_exception);
    ASSERT_NE(watcher, nullptr);
    std::thread worker([&] {
        named_thread = GetCurrentThreadId();
        qx::platform::name_current_thread("ACQUISITION PACKET LOOP");
    });
    worker.join();
    RemoveVectoredExceptionHandler(watcher);
    EXPECT_EQ(announcements.load(), 1);
    EXPECT_EQ(announced_name, "ACQUISITION PACKET LOOP");
    EXPECT_EQ(announced_thread, named_thread);
}
#endif

}  // namespace
