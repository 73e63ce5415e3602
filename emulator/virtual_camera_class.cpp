#include "virtual_camera_class.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "command_table_class.h"
#include "emulator_error_class.h"

namespace qx::emulator {

namespace {

constexpr std::size_t longest_command = QX_EMU_PACKET_SIZE;

packet_stream_class::timing timing_of(const camera_config_class& config) {
    packet_stream_class::timing timing;
    timing.pacing = config.pacing;
    timing.max_lag_frames = config.max_lag_frames;
    timing.frame_count_start = config.frame_count_start;
    timing.epoch = packet_stream_class::clock::now();
    return timing;
}

bool has_fault(unsigned faults, qx_emu_fault_kind kind) {
    return (faults & (1u << kind)) != 0;
}

// The sequence number a "sequence_gap" fault puts into packet @p index, or
// none when the packet is not eligible: a repeated number must not look like
// the restart the host accepts (sequence 1), so repeats start at packet 3.
std::optional<std::uint32_t> gap_sequence(std::uint32_t index, bool repeat) {
    if (repeat) {
        return index >= 3 ? std::optional<std::uint32_t>(index - 1) : std::nullopt;
    }
    return index >= 1 ? std::optional<std::uint32_t>(index + 1) : std::nullopt;
}

}  // namespace

virtual_camera_class::virtual_camera_class(camera_config_class config)
    : config_(std::move(config)),
      state_(config_),
      stream_(timing_of(config_)),
      faults_(config_.faults, config_.seed) {
    if (!config_.command_log.empty()) {
        command_log_.open(config_.command_log, std::ios::app | std::ios::binary);
        if (!command_log_) {
            throw emulator_error_class(QX_EMU_INVALID, "camera " + config_.serial + ": the command log '" +
                                                           config_.command_log + "' cannot be opened");
        }
    }
    stream_.set_frame_period(state_.frame_period());
}

void virtual_camera_class::adopt_persistent_state(virtual_camera_class& other) {
    // One lock at a time: two cameras' locks have no order between them.
    std::string name;
    std::vector<std::uint8_t> user_memory;
    {
        platform::scoped_lock_class guard(other.lock_);
        name = other.state_.name;
        user_memory = other.state_.user_memory;
    }
    platform::scoped_lock_class guard(lock_);
    state_.name = std::move(name);
    state_.user_memory = std::move(user_memory);
}

void virtual_camera_class::set_unplug_handler(std::function<void()> handler) {
    platform::scoped_lock_class guard(lock_);
    unplug_handler_ = std::move(handler);
}

void virtual_camera_class::mark_unplugged() {
    {
        platform::scoped_lock_class guard(lock_);
        plugged_ = false;
        stream_.stop();
        note_change();
    }
    changed_.notify_all();
}

bool virtual_camera_class::is_plugged() const {
    platform::scoped_lock_class guard(lock_);
    return plugged_;
}

void virtual_camera_class::require_plugged() const {
    if (!plugged_) {
        throw emulator_error_class(QX_EMU_NO_DEVICE, "the camera " + config_.serial + " is unplugged");
    }
}

std::size_t virtual_camera_class::endpoint_index(unsigned char endpoint) {
    static constexpr unsigned char endpoints[] = {QX_EMU_ENDPOINT_COMMAND_OUT, QX_EMU_ENDPOINT_COMMAND_IN,
                                                  QX_EMU_ENDPOINT_IMAGE_IN};
    for (std::size_t index = 0; index < std::size(endpoints); ++index) {
        if (endpoints[index] == endpoint) {
            return index;
        }
    }
    throw emulator_error_class(QX_EMU_INVALID, "endpoint " + std::to_string(endpoint) +
                                                   " does not exist (the endpoints are 0x02, 0x82 and 0x83)");
}

void virtual_camera_class::count_fault(qx_emu_fault_kind kind) {
    ++counters_.faults_by_kind[kind];
    ++counters_.faults_injected;
    // Several faults on one frame make one faulted frame.
    if (fault_plan_class::is_packet_fault(kind) && fault_frame_ != last_faulted_frame_) {
        last_faulted_frame_ = fault_frame_;
        ++counters_.frames_faulted;
    }
}

void virtual_camera_class::log_command(std::string_view command) {
    if (!command_log_.is_open()) {
        return;
    }
    // One command per line; bytes that would break the line are written as \xNN.
    std::string line;
    for (const char c : command.substr(0, command.find('\0'))) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte >= 0x7F || c == '\\') {
            static constexpr char digits[] = "0123456789ABCDEF";
            line += "\\x";
            line += digits[byte >> 4];
            line += digits[byte & 0xF];
        } else {
            line += c;
        }
    }
    command_log_ << line << '\n' << std::flush;
}

std::string virtual_camera_class::answer(std::string_view command) {
    const auto text = command.substr(0, command.find('\0'));
    if (const auto override_reply = config_.replies.find(std::string(text));
        override_reply != config_.replies.end()) {
        return override_reply->second;
    }
    command_table_class::context context{state_, stream_, clock::now()};
    return command_table_class::execute(context, command);
}

qx_emu_status virtual_camera_class::write_command(const void* data, std::size_t size,
                                                  unsigned int /*timeout_ms*/) {
    if (data == nullptr && size != 0) {
        throw emulator_error_class(QX_EMU_INVALID, "data is null");
    }
    if (size > longest_command) {
        throw emulator_error_class(QX_EMU_INVALID, "a command of " + std::to_string(size) +
                                                       " bytes is longer than the camera accepts (" +
                                                       std::to_string(longest_command) + ")");
    }
    {
        platform::scoped_lock_class guard(lock_);
        require_plugged();
        if (stalled_[command_out_slot]) {
            return QX_EMU_STALL;
        }
        const std::string_view command(static_cast<const char*>(data), size);
        const unsigned faults =
            faults_.decide_command(command_writes_++, command_table_class::first_word(command));
        const auto& stall_rule = faults_.plan().rule_of(QX_EMU_FAULT_STALL_COMMAND);
        if (has_fault(faults, QX_EMU_FAULT_STALL_COMMAND) && !stall_rule.stall_in_endpoint) {
            // The command never reaches the camera.
            count_fault(QX_EMU_FAULT_STALL_COMMAND);
            stalled_[command_out_slot] = true;
            return QX_EMU_STALL;
        }
        ++counters_.commands_received;
        log_command(command);
        std::string reply;
        if (has_fault(faults, QX_EMU_FAULT_FIRMWARE_ERROR)) {
            count_fault(QX_EMU_FAULT_FIRMWARE_ERROR);
            reply = faults_.plan().rule_of(QX_EMU_FAULT_FIRMWARE_ERROR).phrase;
        } else {
            reply = answer(command);
        }
        // A text reply carries its NUL. The raw reply of "nvstor rb" does not;
        // it is the one reply that begins with the command's own text and a colon.
        const auto text = command.substr(0, command.find('\0'));
        const bool raw = reply.size() > text.size() && reply.compare(0, text.size(), text) == 0 &&
                         reply[text.size()] == ':';
        if (!raw) {
            reply.push_back('\0');
        }
        if (reply.size() > QX_EMU_REPLY_SIZE) {
            reply.resize(QX_EMU_REPLY_SIZE);
            reply.back() = '\0';
        }
        reply_ = std::move(reply);
        if (has_fault(faults, QX_EMU_FAULT_STALL_COMMAND)) {
            count_fault(QX_EMU_FAULT_STALL_COMMAND);
            stalled_[command_in_slot] = true;
            reply_.reset();
        } else if (has_fault(faults, QX_EMU_FAULT_REPLY_TIMEOUT)) {
            count_fault(QX_EMU_FAULT_REPLY_TIMEOUT);
            reply_.reset();
        }
        note_change();
    }
    changed_.notify_all();
    return QX_EMU_OK;
}

qx_emu_status virtual_camera_class::read_reply(void* buffer, std::size_t capacity, std::size_t* transferred,
                                               unsigned int timeout_ms) {
    if (buffer == nullptr || transferred == nullptr) {
        throw emulator_error_class(QX_EMU_INVALID,
                                   buffer == nullptr ? "buffer is null" : "transferred is null");
    }
    *transferred = 0;
    platform::scoped_lock_class guard(lock_);
    changed_.wait_for(guard, std::chrono::milliseconds(timeout_ms), [&]() QX_REQUIRES(lock_) {
        return !plugged_ || stalled_[command_in_slot] || reply_.has_value();
    });
    require_plugged();
    if (stalled_[command_in_slot]) {
        return QX_EMU_STALL;
    }
    if (!reply_.has_value()) {
        return QX_EMU_TIMEOUT;
    }
    const std::size_t count = std::min({capacity, reply_->size(), std::size_t{QX_EMU_REPLY_SIZE}});
    std::memcpy(buffer, reply_->data(), count);
    *transferred = count;
    reply_.reset();
    return QX_EMU_OK;
}

void virtual_camera_class::apply_header_faults(unsigned faults, std::uint32_t packet_index,
                                               std::uint8_t* packet) {
    std::uint32_t header = 0;
    std::memcpy(&header, packet, sizeof header);
    if (has_fault(faults, QX_EMU_FAULT_SEQUENCE_GAP)) {
        const bool repeat = faults_.plan().rule_of(QX_EMU_FAULT_SEQUENCE_GAP).repeat_sequence;
        if (const auto sequence = gap_sequence(packet_index, repeat)) {
            count_fault(QX_EMU_FAULT_SEQUENCE_GAP);
            header = *sequence << 16;
        }
    }
    if (has_fault(faults, QX_EMU_FAULT_CORRUPT_HEADER)) {
        count_fault(QX_EMU_FAULT_CORRUPT_HEADER);
        header ^= 0x80000001u;
    }
    std::memcpy(packet, &header, sizeof header);
}

void virtual_camera_class::apply_metadata_fault(unsigned faults, std::uint32_t packet_index,
                                                std::uint8_t* packet) {
    // The record lives in a frame's first packet; later packets are not eligible.
    if (!has_fault(faults, QX_EMU_FAULT_CORRUPT_METADATA) || packet_index != 0) {
        return;
    }
    auto damage = faults_.plan().rule_of(QX_EMU_FAULT_CORRUPT_METADATA).damage;
    if (damage == metadata_damage::mixed) {
        // In turn, so that any four in a row cover every kind of damage.
        constexpr std::uint64_t kinds = 4;
        damage = static_cast<metadata_damage>(1 + counters_.faults_by_kind[QX_EMU_FAULT_CORRUPT_METADATA] % kinds);
    }
    count_fault(QX_EMU_FAULT_CORRUPT_METADATA);
    packet_stream_class::damage_metadata(packet + 4, damage);
}

qx_emu_status virtual_camera_class::read_packet(void* packet, unsigned int timeout_ms) {
    if (packet == nullptr) {
        throw emulator_error_class(QX_EMU_INVALID, "packet is null");
    }
    const auto deadline = clock::now() + std::chrono::milliseconds(timeout_ms);
    platform::scoped_lock_class guard(lock_);
    // Sleeps until the time given or the next change, then looks again.
    const auto wait_for_change_until = [&](clock::time_point until) QX_REQUIRES(lock_) {
        const auto seen = changes_;
        changed_.wait_until(guard, until, [&]() QX_REQUIRES(lock_) { return changes_ != seen; });
    };
    for (;;) {
        if (std::exchange(packet_read_cancelled_, false)) {
            return QX_EMU_TIMEOUT;
        }
        require_plugged();
        if (stalled_[image_in_slot]) {
            return QX_EMU_STALL;
        }
        const auto now = clock::now();
        const auto due = stream_.next_due(now);
        if (!due.has_value() || *due > now) {
            if (now >= deadline) {
                return QX_EMU_TIMEOUT;
            }
            wait_for_change_until(due.has_value() ? std::min(*due, deadline) : deadline);
            continue;
        }
        const std::uint32_t packet_index = stream_.next_packet_index();
        fault_frame_ = stream_.frames_started() - (packet_index == 0 ? 0 : 1);
        if (!packet_faults_decided_) {
            const std::uint64_t frame =
                stream_.frames_started() - (packet_index == 0 ? 0 : 1) - frames_at_faults_;
            pending_packet_faults_ = faults_.decide_packet(frame, packet_index);
            packet_faults_decided_ = true;
        }
        if (has_fault(pending_packet_faults_, QX_EMU_FAULT_DELAY_PACKET)) {
            // The packet is held back; reads before its time answer time-outs.
            count_fault(QX_EMU_FAULT_DELAY_PACKET);
            pending_packet_faults_ &= ~(1u << QX_EMU_FAULT_DELAY_PACKET);
            packet_held_until_ =
                now + std::chrono::milliseconds(faults_.plan().rule_of(QX_EMU_FAULT_DELAY_PACKET).delay_ms);
        }
        if (packet_held_until_.has_value()) {
            if (now < *packet_held_until_) {
                if (now >= deadline)
                    return QX_EMU_TIMEOUT;
                wait_for_change_until(std::min(*packet_held_until_, deadline));
                continue;
            }
            packet_held_until_.reset();
        }
        const unsigned faults = pending_packet_faults_;
        if (has_fault(faults, QX_EMU_FAULT_UNPLUG)) {
            count_fault(QX_EMU_FAULT_UNPLUG);
            packet_faults_decided_ = false;
            auto handler = unplug_handler_;
            guard.unlock();
            if (handler) {
                handler();
            } else {
                mark_unplugged();
            }
            throw emulator_error_class(QX_EMU_NO_DEVICE,
                                       "the camera " + config_.serial + " was unplugged mid-frame");
        }
        if (has_fault(faults, QX_EMU_FAULT_STALL_IMAGE)) {
            // The packet stays due and goes out once the stall is cleared.
            count_fault(QX_EMU_FAULT_STALL_IMAGE);
            pending_packet_faults_ &= ~(1u << QX_EMU_FAULT_STALL_IMAGE);
            stalled_[image_in_slot] = true;
            return QX_EMU_STALL;
        }
        packet_faults_decided_ = false;
        if (has_fault(faults, QX_EMU_FAULT_DROP_PACKET)) {
            count_fault(QX_EMU_FAULT_DROP_PACKET);
            stream_.discard();
            continue;
        }
        auto* bytes = static_cast<std::uint8_t*>(packet);
        stream_.emit(bytes);
        ++counters_.packets_sent;
        apply_header_faults(faults, packet_index, bytes);
        apply_metadata_fault(faults, packet_index, bytes);
        return QX_EMU_OK;
    }
}

void virtual_camera_class::cancel_packet_read() {
    {
        platform::scoped_lock_class guard(lock_);
        packet_read_cancelled_ = true;
        note_change();
    }
    changed_.notify_all();
}

bool virtual_camera_class::is_endpoint_stalled(unsigned char endpoint) const {
    platform::scoped_lock_class guard(lock_);
    require_plugged();
    return stalled_[endpoint_index(endpoint)];
}

void virtual_camera_class::clear_stall(unsigned char endpoint) {
    {
        platform::scoped_lock_class guard(lock_);
        require_plugged();
        stalled_[endpoint_index(endpoint)] = false;
        if (endpoint == QX_EMU_ENDPOINT_COMMAND_IN) {
            reply_.reset();  // the reply in flight is lost with the pipe
        }
        note_change();
    }
    changed_.notify_all();
}

void virtual_camera_class::reset_port() {
    {
        platform::scoped_lock_class guard(lock_);
        require_plugged();
        stalled_.fill(false);
        reply_.reset();
        note_change();
    }
    changed_.notify_all();
}

int virtual_camera_class::speed_code() const {
    platform::scoped_lock_class guard(lock_);
    require_plugged();
    if (config_.usb_speed == "USB 1.0") {
        return QX_EMU_SPEED_FULL;
    }
    return config_.usb_speed == "USB 2.0" ? QX_EMU_SPEED_HIGH : QX_EMU_SPEED_SUPER;
}

void virtual_camera_class::pulse_hardware_trigger() {
    {
        platform::scoped_lock_class guard(lock_);
        require_plugged();
        if (state_.trigger_mode == "none") {
            throw emulator_error_class(QX_EMU_INVALID,
                                       "the camera " + config_.serial +
                                           " is in trigger mode \"none\"; a pulse needs \"std\" or \"bulb\"");
        }
        if (!stream_.is_armed()) {
            throw emulator_error_class(QX_EMU_INVALID, "the camera " + config_.serial + " is not armed");
        }
        stream_.trigger(static_cast<std::uint32_t>(state_.frames_per_trigger.value), clock::now());
        note_change();
    }
    changed_.notify_all();
}

void virtual_camera_class::set_faults(fault_plan_class plan) {
    {
        platform::scoped_lock_class guard(lock_);
        require_plugged();
        faults_ = fault_schedule_class(std::move(plan), config_.seed);
        frames_at_faults_ = stream_.frames_started() - (stream_.next_packet_index() == 0 ? 0 : 1);
        command_writes_ = 0;
        packet_faults_decided_ = false;
        note_change();
    }
    changed_.notify_all();
}

qx_emu_counters virtual_camera_class::counters() const {
    platform::scoped_lock_class guard(lock_);
    auto counters = counters_;
    counters.frames_started = stream_.frames_started();
    counters.frames_completed = stream_.frames_completed();
    counters.frames_dropped = stream_.frames_dropped();
    return counters;
}

}  // namespace qx::emulator
