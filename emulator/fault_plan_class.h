#pragma once
// Which faults a virtual camera injects, as read from the "faults" object of
// its configuration: per fault kind a rate and/or a schedule.

#include <array>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quendral_vko_camera_emulator.h"

namespace qx::emulator {

inline constexpr int fault_kind_count = 10;

/** How corrupt_metadata damages a frame's record; mixed takes the others in turn. */
enum class metadata_damage { mixed, bad_magic, unknown_tag, offset_beyond_slot, truncated };

class fault_plan_class {
  public:
    /** One fault kind's rule. Lists that are empty do not restrict. */
    struct rule {
        double rate = 0.0;                    // probability per eligible packet or command
        std::vector<std::uint64_t> frames;    // packet faults: frame indices since the plan was set
        std::vector<std::uint64_t> packets;   // packet faults: packet indices within the frame
        std::vector<std::uint64_t> commands;  // command faults: command indices since the plan was set
        std::vector<std::string> words;       // command faults: first words of eligible commands
        bool repeat_sequence = false;    // sequence_gap: repeat the previous number instead of skipping one
        bool stall_in_endpoint = false;  // stall_command: stall the IN endpoint instead of the OUT one
        std::uint32_t delay_ms = 2500;   // delay_packet: how long the packet is held back
        std::string phrase;              // firmware_error: the reply sent instead of the real one
        metadata_damage damage = metadata_damage::mixed;  // corrupt_metadata: what is damaged

        /** Whether a schedule (not only a rate) is given. */
        bool has_schedule() const;
    };

    /** Parses a "faults" object; errors name the key, prefixed by @p where ("camera 1"). */
    static fault_plan_class from_json(const nlohmann::json& faults, const std::string& where);

    /** The configuration name of a fault kind ("drop_packet" ...). */
    static std::string_view name_of(qx_emu_fault_kind kind);
    /** Whether a kind is decided per packet (else per command). */
    static bool is_packet_fault(qx_emu_fault_kind kind);

    const rule& rule_of(qx_emu_fault_kind kind) const { return rules_[static_cast<std::size_t>(kind)]; }
    /** A seed given inside the faults object, overriding the camera's. */
    const std::optional<std::uint64_t>& seed() const { return seed_; }

  private:
    std::array<rule, fault_kind_count> rules_{};
    std::optional<std::uint64_t> seed_;
};

}  // namespace qx::emulator
