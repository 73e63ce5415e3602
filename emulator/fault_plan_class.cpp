#include "fault_plan_class.h"

#include <nlohmann/json.hpp>

#include "firmware_phrases.h"
#include "json_reading.h"

namespace qx::emulator {

namespace {

using json_reading::key_place;

struct fault_kind_row {
    std::string_view name;
    bool per_packet;
};

// Indexed by qx_emu_fault_kind.
constexpr std::array<fault_kind_row, fault_kind_count> fault_kinds = {{
    {"drop_packet", true},
    {"sequence_gap", true},
    {"corrupt_header", true},
    {"stall_image", true},
    {"stall_command", false},
    {"reply_timeout", false},
    {"firmware_error", false},
    {"unplug", true},
    {"delay_packet", true},
    {"corrupt_metadata", true},
}};

// Reads one key of a rule; answers false for a key this kind does not know.
bool read_rule_key(qx_emu_fault_kind kind, fault_plan_class::rule& rule, const std::string& key,
                   const nlohmann::json& value, const std::string& place) {
    const bool per_packet = fault_plan_class::is_packet_fault(kind);
    if (key == "rate") {
        rule.rate = json_reading::read_number(value, place, 0.0, 1.0);
    } else if (per_packet && key == "frames") {
        rule.frames = json_reading::read_index_list(value, place);
    } else if (per_packet && key == "packet") {
        rule.packets = {json_reading::read_unsigned(value, place)};
    } else if (per_packet && key == "packets") {
        rule.packets = json_reading::read_index_list(value, place);
    } else if (!per_packet && key == "commands") {
        rule.commands = json_reading::read_index_list(value, place);
    } else if (!per_packet && key == "words") {
        rule.words = json_reading::read_word_list(value, place);
    } else if (kind == QX_EMU_FAULT_SEQUENCE_GAP && key == "mode") {
        rule.repeat_sequence = json_reading::read_choice(value, place, {"skip", "repeat"}) == 1;
    } else if (kind == QX_EMU_FAULT_STALL_COMMAND && key == "endpoint") {
        rule.stall_in_endpoint = json_reading::read_choice(value, place, {"out", "in"}) == 1;
    } else if (kind == QX_EMU_FAULT_DELAY_PACKET && key == "ms") {
        rule.delay_ms = static_cast<std::uint32_t>(json_reading::read_integer(value, place, 1, 60000));
    } else if (kind == QX_EMU_FAULT_CORRUPT_METADATA && key == "mode") {
        rule.damage = static_cast<metadata_damage>(json_reading::read_choice(
            value, place, {"mixed", "bad_magic", "unknown_tag", "offset_beyond_slot", "truncated"}));
    } else if (kind == QX_EMU_FAULT_FIRMWARE_ERROR && key == "phrase") {
        rule.phrase = json_reading::read_string(value, place);
    } else {
        return false;
    }
    return true;
}

}  // namespace

bool fault_plan_class::rule::has_schedule() const {
    return !frames.empty() || !packets.empty() || !commands.empty() || !words.empty();
}

std::string_view fault_plan_class::name_of(qx_emu_fault_kind kind) {
    return fault_kinds[static_cast<std::size_t>(kind)].name;
}

bool fault_plan_class::is_packet_fault(qx_emu_fault_kind kind) {
    return fault_kinds[static_cast<std::size_t>(kind)].per_packet;
}

fault_plan_class fault_plan_class::from_json(const nlohmann::json& faults, const std::string& where) {
    json_reading::require_object(faults, where);
    fault_plan_class plan;
    for (const auto& [name, value] : faults.items()) {
        const std::string place = key_place(where, name);
        if (name == "seed") {
            plan.seed_ = json_reading::read_unsigned(value, place);
            continue;
        }
        std::size_t index = 0;
        while (index < fault_kinds.size() && fault_kinds[index].name != name) {
            ++index;
        }
        if (index == fault_kinds.size()) {
            json_reading::fail(place, "unknown fault kind");
        }
        const auto kind = static_cast<qx_emu_fault_kind>(index);
        auto& rule = plan.rules_[index];
        if (kind == QX_EMU_FAULT_FIRMWARE_ERROR) {
            rule.phrase = std::string(text_of(firmware_phrase::image_data_sync_failure));
        }
        json_reading::require_object(value, place);
        for (const auto& [key, item] : value.items()) {
            if (!read_rule_key(kind, rule, key, item, key_place(place, key))) {
                json_reading::fail(key_place(place, key), "unknown key for this fault kind");
            }
        }
    }
    return plan;
}

}  // namespace qx::emulator
