#include "acquisition/held_frame_ledger_class.h"

#include <set>
#include <stdexcept>

namespace qx::acquisition {

struct held_frame_ledger_class::token {
    std::shared_ptr<held_frame_ledger_class> ledger;
    std::shared_ptr<unsigned char[]> buffer;
    unsigned char* slot;
    std::uint64_t generation;
};

namespace {

// Every token handed out and not yet released, so that a token given back
// twice, or one never issued, is refused instead of freed twice.
platform::mutex_class live_tokens_mutex;
std::set<const void*> live_tokens QX_GUARDED_BY(live_tokens_mutex);

}  // namespace

void* held_frame_ledger_class::hold(std::shared_ptr<unsigned char[]> buffer, unsigned char* slot) {
    std::uint64_t generation = 0;
    {
        platform::scoped_lock_class guard(mutex);
        generation = arm_generation;
        ++held;
    }
    auto* issued = new token{shared_from_this(), std::move(buffer), slot, generation};
    platform::scoped_lock_class guard(live_tokens_mutex);
    live_tokens.insert(issued);
    return issued;
}

void held_frame_ledger_class::release(void* handed_back) {
    {
        platform::scoped_lock_class guard(live_tokens_mutex);
        if (live_tokens.erase(handed_back) == 0)
            throw std::invalid_argument("Frame is not held.");
    }
    std::unique_ptr<token> released(static_cast<token*>(handed_back));
    held_frame_ledger_class& ledger = *released->ledger;
    platform::scoped_lock_class guard(ledger.mutex);
    --ledger.held;
    if (!ledger.device_present || released->generation != ledger.arm_generation)
        return;
    std::uint64_t address = reinterpret_cast<std::uintptr_t>(released->slot);
    static constexpr char release_command[] = "image_release";
    char reply[256] = {};
    if (ledger.device_link(release_command, sizeof release_command, &address, sizeof address, reply,
                           sizeof reply) != 0)
        throw std::runtime_error("Error releasing a held frame.");
}

void held_frame_ledger_class::begin_arm() {
    platform::scoped_lock_class guard(mutex);
    ++arm_generation;
}

bool held_frame_ledger_class::has_held_frames() {
    platform::scoped_lock_class guard(mutex);
    return held > 0;
}

void held_frame_ledger_class::forget_device() {
    platform::scoped_lock_class guard(mutex);
    device_present = false;
}

}  // namespace qx::acquisition
