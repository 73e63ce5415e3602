#include <pthread.h>

#include <cstring>

#include "platform/thread_name.h"

namespace qx::platform {

void name_current_thread(const char* name) noexcept {
    if (name == nullptr)
        return;
    // pthread_setname_np refuses names longer than the kernel keeps; cut to
    // the first characters, as the kernel itself does for PR_SET_NAME.
    char cut[posix_thread_name_length + 1] = {};
    std::strncpy(cut, name, posix_thread_name_length);
    pthread_setname_np(pthread_self(), cut);
}

}  // namespace qx::platform
