#pragma once
// The names of running threads as the system keeps them (at most 15
// characters on Linux), where a debugger or `top -H` reads them.

#include <pthread.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

namespace qx::test {

// One entry per thread of this process, so that a name can be counted.
inline std::multiset<std::string> names_of_threads_in_this_process() {
    std::multiset<std::string> names;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream comm(task.path() / "comm");
        std::string name;
        if (std::getline(comm, name))
            names.insert(name);
    }
    return names;
}

inline std::string name_of_this_thread() {
    char name[64] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    return name;
}

}  // namespace qx::test
