#include "packet_stream_class.h"

#include <algorithm>
#include <cstring>

#include "quendral_vko_camera_emulator.h"

namespace qx::emulator {

namespace {

void put_word(std::uint8_t* at, std::uint32_t value) {
    for (int byte = 0; byte < 4; ++byte) {
        at[byte] = static_cast<std::uint8_t>(value >> (8 * byte));
    }
}

// Tags are four bytes; "VKO" is written with its terminating NUL.
void put_pair(std::uint8_t*& at, const char* tag, std::uint32_t value) {
    std::memcpy(at, tag, 4);
    put_word(at + 4, value);
    at += 8;
}

std::uint64_t ticks_since(std::chrono::nanoseconds elapsed, std::uint32_t hz) {
    const auto ns = static_cast<std::uint64_t>(std::max<std::int64_t>(elapsed.count(), 0));
    // Split at whole seconds so that the product cannot overflow.
    return ns / 1000000000u * hz + ns % 1000000000u * hz / 1000000000u;
}

}  // namespace

packet_stream_class::packet_stream_class(const timing& timing)
    : timing_(timing), next_frame_count_(timing.frame_count_start) {}

void packet_stream_class::arm(const frame_format_class& format) {
    stop();
    format_ = format;
    packet_count_ = static_cast<std::uint32_t>(format.packet_count());
    padding_.assign(
        static_cast<std::size_t>(packet_count_) * packet_payload_size - metadata_size - format.pixel_bytes(),
        0);
    armed_ = true;
}

void packet_stream_class::stop() {
    armed_ = false;
    unlimited_ = false;
    frames_owed_ = 0;
    in_frame_ = false;
    packet_index_ = 0;
}

void packet_stream_class::trigger(std::uint32_t frames, clock::time_point now) {
    if (!armed_) {
        return;
    }
    if (!frames_owed() && !in_frame_) {
        burst_start_ = now;
        burst_frame_ = 0;
    }
    if (frames == 0) {
        unlimited_ = true;
    } else {
        frames_owed_ += frames;
    }
}

void packet_stream_class::set_frame_period(std::chrono::microseconds period) {
    if (period == period_) {
        return;
    }
    if (frames_owed() || in_frame_) {
        burst_start_ = frame_due(burst_frame_);
        burst_frame_ = 0;
    }
    period_ = period;
}

std::optional<packet_stream_class::clock::time_point> packet_stream_class::next_due(clock::time_point now) {
    if (!armed_) {
        return std::nullopt;
    }
    if (in_frame_) {
        return clock::time_point::min();  // a frame's packets follow each other at once
    }
    if (!frames_owed()) {
        return std::nullopt;
    }
    if (timing_.pacing == pacing_mode::fast) {
        return clock::time_point::min();
    }
    if (now >= frame_due(burst_frame_)) {
        auto newest = static_cast<std::uint64_t>((now - burst_start_) / period_);
        if (!unlimited_) {
            newest = std::min(newest,
                              burst_frame_ + frames_owed_ - 1);  // the sensor stops after the last owed frame
        }
        const auto allowed_lag = static_cast<std::uint64_t>(timing_.max_lag_frames);
        if (newest > burst_frame_ + allowed_lag) {
            // The host fell behind: skip whole frames, never parts of one.
            const auto skipped = newest - allowed_lag - burst_frame_;
            if (!unlimited_) {
                frames_owed_ -= skipped;
            }
            frames_dropped_ += skipped;
            burst_frame_ += skipped;
            if (!frames_owed()) {
                return std::nullopt;
            }
        }
    }
    return frame_due(burst_frame_);
}

void packet_stream_class::start_frame() {
    const std::uint32_t frame_count = next_frame_count_++;
    const std::uint64_t timestamp =
        ticks_since(frame_due(burst_frame_) - timing_.epoch, timing_.timestamp_hz);
    const bool packed = format_.packing != pixel_packing::none;
    std::uint8_t* at = metadata_.data();
    put_pair(at, "VKO", 1);
    put_pair(at, "FCNT", frame_count);
    put_pair(at, "IOFF", static_cast<std::uint32_t>(metadata_size / 8));
    put_pair(at, "IFMT", (packed ? 1u : 0u) | static_cast<std::uint32_t>(format_.bit_depth) << 8);
    put_pair(at, "TSLO", static_cast<std::uint32_t>(timestamp));
    put_pair(at, "TSHI", static_cast<std::uint32_t>(timestamp >> 32));
    put_pair(at, "ENDT", 0);
    patterns_.plan_frame(format_, frame_count, rows_);
    pieces_.clear();
    pieces_.emplace_back(metadata_.data(), metadata_.size());
    for (const std::uint8_t* row : rows_) {
        pieces_.emplace_back(row, format_.row_bytes());
    }
    pieces_.emplace_back(padding_.data(), padding_.size());
    piece_ = 0;
    piece_offset_ = 0;

    in_frame_ = true;
    packet_index_ = 0;
    ++frames_started_;
    ++burst_frame_;
    if (!unlimited_) {
        --frames_owed_;
    }
}

void packet_stream_class::emit(std::uint8_t* packet) {
    if (!in_frame_) {
        start_frame();
    }
    put_word(packet, packet_index_ == 0 ? first_packet_header : packet_index_ << 16);
    copy_payload(packet + 4);
    finish_packet(true);
}

void packet_stream_class::discard() {
    if (!in_frame_) {
        start_frame();
    }
    copy_payload(nullptr);
    finish_packet(false);
}

void packet_stream_class::damage_metadata(std::uint8_t* payload, metadata_damage how) {
    // Pairs as start_frame writes them: VKO, FCNT, IOFF, IFMT, TSLO, TSHI, ENDT.
    constexpr std::size_t pair_size = 8;
    switch (how) {
        case metadata_damage::bad_magic:
            std::memcpy(payload, "VKX", 4);
            break;
        case metadata_damage::unknown_tag:
            std::memcpy(payload + 4 * pair_size, "QZZZ", 4);
            break;
        case metadata_damage::offset_beyond_slot:
            put_word(payload + 2 * pair_size + 4, 0x40000000u);
            break;
        case metadata_damage::truncated:
            std::memset(payload + 2 * pair_size, 0, metadata_size - 2 * pair_size);
            break;
        case metadata_damage::mixed:
            break;
    }
}

void packet_stream_class::copy_payload(std::uint8_t* out) {
    std::size_t wanted = packet_payload_size;
    while (wanted > 0) {
        const auto& [bytes, size] = pieces_[piece_];
        const std::size_t count = std::min(wanted, size - piece_offset_);
        if (out != nullptr) {
            std::memcpy(out, bytes + piece_offset_, count);
            out += count;
        }
        wanted -= count;
        piece_offset_ += count;
        if (piece_offset_ == size) {
            ++piece_;
            piece_offset_ = 0;
        }
    }
}

void packet_stream_class::finish_packet(bool delivered) {
    if (++packet_index_ == packet_count_) {
        in_frame_ = false;
        packet_index_ = 0;
        if (delivered) {
            ++frames_completed_;
        }
    }
}

}  // namespace qx::emulator
