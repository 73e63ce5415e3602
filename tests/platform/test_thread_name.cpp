// Naming the calling thread, read back through the system: POSIX keeps the
// first fifteen characters, Windows keeps the whole name as the thread's
// description and also announces it to a debugger with exception 0x406D1388.

#include <gtest/gtest.h>

#if defined(_WIN32)
#include <windows.h>
#endif

#include <atomic>
#include <string>
#include <thread>

#include "platform/thread_name.h"
#include "support/thread_names.h"

namespace {

// Names a fresh thread "previous", then @p name, and reads its name back
// from the system.
std::string name_seen_after_naming(const char* name) {
    std::string seen;
    std::thread worker([&] {
        qx::platform::name_current_thread("previous");
        qx::platform::name_current_thread(name);
        seen = qx::test::name_of_this_thread();
    });
    worker.join();
    return seen;
}

TEST(thread_name, the_system_sees_the_name_as_the_platform_keeps_it_and_a_null_name_changes_nothing) {
    for (const char* name : {"short", "exactly_15_char", "exactly_16_chars", "ACQUISITION PACKET LOOP", ""}) {
        EXPECT_EQ(name_seen_after_naming(name), qx::test::name_as_the_system_keeps_it(name))
            << '"' << name << '"';
    }
    EXPECT_EQ(name_seen_after_naming(nullptr), "previous");
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
