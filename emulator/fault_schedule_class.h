#pragma once
// Decides, packet by packet and command by command, which faults a virtual
// camera injects. All random decisions come from one generator seeded from
// the camera's seed, so the same seed and the same traffic give the same
// faults.

#include <cstdint>
#include <string_view>

#include "fault_plan_class.h"

namespace qx::emulator {

class fault_schedule_class {
  public:
    fault_schedule_class() = default;
    fault_schedule_class(fault_plan_class plan, std::uint64_t camera_seed);

    /** Faults for one image packet, as bits (1 << qx_emu_fault_kind). */
    unsigned decide_packet(std::uint64_t frame_index, std::uint64_t packet_index);
    /** Faults for one command, as bits (1 << qx_emu_fault_kind). */
    unsigned decide_command(std::uint64_t command_index, std::string_view first_word);

    const fault_plan_class& plan() const { return plan_; }

  private:
    template <class matcher_type>
    unsigned decide(bool per_packet, const matcher_type& matches);
    bool rule_fires(const fault_plan_class::rule& rule, bool matches);
    double next_uniform();

    fault_plan_class plan_;
    std::uint64_t generator_state_ = 0;
};

}  // namespace qx::emulator
