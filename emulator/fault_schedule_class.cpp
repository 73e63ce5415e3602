#include "fault_schedule_class.h"

#include <algorithm>

namespace qx::emulator {

namespace {

template <class list_type, class value_type>
bool listed_or_unrestricted(const list_type& list, const value_type& value) {
    return list.empty() || std::find(list.begin(), list.end(), value) != list.end();
}

}  // namespace

fault_schedule_class::fault_schedule_class(fault_plan_class plan, std::uint64_t camera_seed)
    : plan_(std::move(plan)), generator_state_(plan_.seed().value_or(camera_seed)) {}

double fault_schedule_class::next_uniform() {
    // splitmix64: small, fast and with no weak seeds.
    std::uint64_t z = (generator_state_ += 0x9E3779B97F4A7C15ULL);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    z ^= z >> 31;
    return static_cast<double>(z >> 11) * 0x1.0p-53;
}

bool fault_schedule_class::rule_fires(const fault_plan_class::rule& rule, bool matches) {
    if (!matches || (rule.rate <= 0.0 && !rule.has_schedule())) {
        return false;
    }
    // A rate applies to the packets or commands the lists admit; without a
    // rate the schedule alone fires.
    return rule.rate > 0.0 ? next_uniform() < rule.rate : true;
}

template <class matcher_type>
unsigned fault_schedule_class::decide(bool per_packet, const matcher_type& matches) {
    unsigned faults = 0;
    for (int kind = 0; kind < fault_kind_count; ++kind) {
        const auto fault = static_cast<qx_emu_fault_kind>(kind);
        if (fault_plan_class::is_packet_fault(fault) != per_packet) {
            continue;
        }
        const auto& rule = plan_.rule_of(fault);
        if (rule_fires(rule, matches(rule))) {
            faults |= 1u << kind;
        }
    }
    return faults;
}

unsigned fault_schedule_class::decide_packet(std::uint64_t frame_index, std::uint64_t packet_index) {
    return decide(true, [&](const fault_plan_class::rule& rule) {
        return listed_or_unrestricted(rule.frames, frame_index) &&
               listed_or_unrestricted(rule.packets, packet_index);
    });
}

unsigned fault_schedule_class::decide_command(std::uint64_t command_index, std::string_view first_word) {
    return decide(false, [&](const fault_plan_class::rule& rule) {
        return listed_or_unrestricted(rule.commands, command_index) &&
               listed_or_unrestricted(rule.words, first_word);
    });
}

}  // namespace qx::emulator
