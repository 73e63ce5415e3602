// Naming the calling thread, read back through the system.

#include <gtest/gtest.h>
#include <pthread.h>

#include <string>
#include <thread>

#include "platform/thread_name.h"

namespace {

// Names a fresh thread and reads its name back from the system.
std::string name_seen_after_naming(const char* name) {
    std::string seen;
    std::thread worker([&] {
        qx::platform::name_current_thread(name);
        char read_back[64] = {};
        if (pthread_getname_np(pthread_self(), read_back, sizeof read_back) == 0)
            seen = read_back;
    });
    worker.join();
    return seen;
}

TEST(thread_name, the_system_sees_the_name_cut_to_its_first_fifteen_characters) {
    const struct {
        const char* name;
        const char* seen;
    } cases[] = {
        {"short", "short"},
        {"exactly_15_char", "exactly_15_char"},
        {"ACQUISITION FRAME LOOP", "ACQUISITION FRA"},
        {"ACQUISITION PACKET LOOP", "ACQUISITION PAC"},
        {"RALTO_CONNECT_DISCONNECT", "RALTO_CONNECT_D"},
        {"QV_CONNECT_DISCONNECT", "QV_CONNECT_DISC"},
        {"", ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(name_seen_after_naming(c.name), c.seen) << '"' << c.name << '"';
    }
}

TEST(thread_name, a_null_name_leaves_the_thread_name_unchanged) {
    std::string after;
    std::thread worker([&] {
        qx::platform::name_current_thread("before null");
        qx::platform::name_current_thread(nullptr);
        char read_back[64] = {};
        pthread_getname_np(pthread_self(), read_back, sizeof read_back);
        after = read_back;
    });
    worker.join();
    EXPECT_EQ(after, "before null");
}

}  // namespace
