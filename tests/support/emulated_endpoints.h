#pragma once
// The camera's bulk endpoints as the emulator serves them, for the doubles
// that put it behind a USB-level interface (usbfs, the Windows driver).

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <cstring>
#include <deque>
#include <functional>
#include <iterator>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "quendral_vko_camera_emulator.h"

namespace qx::test {

inline constexpr unsigned char camera_endpoints[] = {QX_EMU_ENDPOINT_COMMAND_OUT, QX_EMU_ENDPOINT_COMMAND_IN,
                                                     QX_EMU_ENDPOINT_IMAGE_IN};
inline constexpr std::size_t camera_endpoint_count = std::size(camera_endpoints);

// The index of a camera endpoint in camera_endpoints; -1 for another address.
inline int camera_endpoint_index(unsigned endpoint) {
    for (std::size_t index = 0; index < camera_endpoint_count; ++index) {
        if (camera_endpoints[index] == endpoint)
            return static_cast<int>(index);
    }
    return -1;
}

struct endpoint_transfer {
    int status = QX_EMU_INVALID;
    std::size_t bytes = 0;  // none unless the status is QX_EMU_OK
};

// One transfer through the emulator: a command out, a reply in, or an image
// packet in (refused unless the buffer holds a whole one).
inline endpoint_transfer transfer_on_endpoint(qx_emu_device* device, unsigned char endpoint, void* buffer,
                                              std::size_t length, unsigned timeout_ms) {
    endpoint_transfer done;
    if (endpoint == QX_EMU_ENDPOINT_COMMAND_OUT) {
        done = {qx_emu_device_write(device, buffer, length, timeout_ms), length};
    } else if (endpoint == QX_EMU_ENDPOINT_COMMAND_IN) {
        done.status = qx_emu_device_read(device, buffer, length, &done.bytes, timeout_ms);
    } else if (endpoint == QX_EMU_ENDPOINT_IMAGE_IN && length >= QX_EMU_PACKET_SIZE) {
        done = {qx_emu_device_read_packet(device, buffer, timeout_ms), QX_EMU_PACKET_SIZE};
    }
    if (done.status != QX_EMU_OK)
        done.bytes = 0;
    return done;
}

// One endpoint of an emulated camera as a device serves it: requests wait in
// submission order, and a thread of the endpoint's own hands the front one to
// the emulator and completes it. The thread waits for requests on a
// condition and for data inside the emulator, in slices, so that it sees a
// request taken back meanwhile. Data that arrives for a request taken back
// stays in the device for the endpoint's next request.
//
// `request_type` carries `unsigned char* data` and `std::size_t length`.
// Every member but the constructor and the destructor is called with `lock`
// held, and the completion is called with it held.
template <class request_type>
class endpoint_worker {
  public:
    using completion = std::function<void(request_type&, const endpoint_transfer&)>;

    // hold_after_stall: after a stalled transfer the endpoint serves nothing
    // until release_halt(), as a host controller holds a halted queue.
    endpoint_worker(std::mutex& lock, qx_emu_device* device, unsigned char endpoint, bool hold_after_stall,
                    completion done)
        : lock(lock),
          device(device),
          endpoint(endpoint),
          hold_after_stall(hold_after_stall),
          done(std::move(done)),
          thread([this] { serve(); }) {}
    ~endpoint_worker() {
        {
            std::lock_guard<std::mutex> guard(lock);
            stopping = true;
        }
        wake.notify_all();
        thread.join();
    }

    void submit(request_type request) {
        waiting.push_back(std::move(request));
        wake.notify_all();
    }
    // Takes back, uncompleted, the requests `match` selects, the one in
    // service included.
    template <class match_type>
    std::vector<request_type> take(match_type&& match) {
        std::vector<request_type> taken;
        if (in_service && match(*in_service)) {
            taken.push_back(std::move(*in_service));
            in_service.reset();
        }
        std::copy_if(waiting.begin(), waiting.end(), std::back_inserter(taken), match);
        std::erase_if(waiting, match);
        return taken;
    }
    std::vector<request_type> take_all() {
        return take([](const request_type&) { return true; });
    }
    template <class match_type>
    bool holds(match_type&& match) const {
        return (in_service && match(*in_service)) || std::any_of(waiting.begin(), waiting.end(), match);
    }
    void release_halt() {
        halted = false;
        wake.notify_all();
    }
    // The requests the endpoint holds: waiting or in service.
    std::size_t held() const { return waiting.size() + (in_service ? 1 : 0); }

  private:
    // How long the thread waits on the emulator before it looks for a
    // request taken back.
    static constexpr unsigned wait_slice_ms = 20;

    void serve() {
        const bool inward = endpoint != QX_EMU_ENDPOINT_COMMAND_OUT;
        // The emulator works on a buffer of the endpoint's own, so that a
        // request taken back has its buffer back at once, untouched.
        std::vector<unsigned char> bounce(QX_EMU_PACKET_SIZE);
        std::unique_lock<std::mutex> guard(lock);
        for (;;) {
            wake.wait(guard, [&] { return stopping || (!halted && !waiting.empty()); });
            if (stopping)
                return;
            in_service = std::move(waiting.front());
            waiting.pop_front();
            const std::size_t length = std::min(in_service->length, bounce.size());
            endpoint_transfer transfer{QX_EMU_OK, std::min(length, unread.size())};
            if (!unread.empty()) {
                std::memcpy(in_service->data, unread.data(), transfer.bytes);
                unread.clear();
            } else {
                if (!inward)
                    std::memcpy(bounce.data(), in_service->data, length);
                do {
                    guard.unlock();
                    transfer = transfer_on_endpoint(device, endpoint, bounce.data(), length, wait_slice_ms);
                    guard.lock();
                } while (transfer.status == QX_EMU_TIMEOUT && in_service && !stopping);
                if (!in_service || stopping) {
                    if (inward && transfer.status == QX_EMU_OK)
                        unread.assign(bounce.begin(),
                                      bounce.begin() + static_cast<std::ptrdiff_t>(transfer.bytes));
                    continue;
                }
                if (inward)
                    std::memcpy(in_service->data, bounce.data(), transfer.bytes);
            }
            halted = hold_after_stall && transfer.status == QX_EMU_STALL;
            request_type finished = std::move(*in_service);
            in_service.reset();
            done(finished, transfer);
        }
    }

    std::mutex& lock;
    qx_emu_device* const device;
    const unsigned char endpoint;
    const bool hold_after_stall;
    const completion done;
    std::condition_variable wake;
    std::deque<request_type> waiting;        // guarded by lock
    std::optional<request_type> in_service;  // guarded by lock
    std::vector<unsigned char> unread;       // guarded by lock
    bool halted = false;                     // guarded by lock
    bool stopping = false;                   // guarded by lock
    std::thread thread;                      // last: it starts serving at once
};

}  // namespace qx::test
