#include "monitor_command.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/condition_variable_class.h"
#include "quendral_vko_camera_emulator.h"
#include "quendral_vko_camera_sdk.h"

namespace qx::tool {

namespace {

// A pipe that one side writes a byte into to wake the other, which blocks
// reading or polling it.
class wake_pipe {
  public:
    wake_pipe() {
        if (pipe2(ends.data(), O_CLOEXEC) != 0)
            ends = {-1, -1};
    }
    ~wake_pipe() {
        for (const int end : ends) {
            if (end >= 0)
                close(end);
        }
    }
    wake_pipe(const wake_pipe&) = delete;
    wake_pipe& operator=(const wake_pipe&) = delete;

    bool usable() const { return ends[0] >= 0; }
    int read_end() const { return ends[0]; }
    int write_end() const { return ends[1]; }
    void wake() const {
        const char byte = 1;
        [[maybe_unused]] const auto written = write(ends[1], &byte, 1);
    }
    // Blocks until a byte arrives.
    void wait() const {
        char byte = 0;
        while (read(ends[0], &byte, 1) < 0 && errno == EINTR) {
        }
    }

  private:
    std::array<int, 2> ends{-1, -1};
};

// Ctrl-C and termination only write to the pipe; the main thread does the
// rest.
int interrupt_fd = -1;
extern "C" void on_interrupt(int) {
    const int saved_errno = errno;
    const char byte = 1;
    [[maybe_unused]] const auto written = write(interrupt_fd, &byte, 1);
    errno = saved_errno;
}

class interrupt_handlers {
  public:
    explicit interrupt_handlers(const wake_pipe& pipe) {
        interrupt_fd = pipe.write_end();
        struct sigaction action {};
        action.sa_handler = &on_interrupt;
        sigemptyset(&action.sa_mask);
        sigaction(SIGINT, &action, &previous_interrupt);
        sigaction(SIGTERM, &action, &previous_termination);
    }
    ~interrupt_handlers() {
        sigaction(SIGINT, &previous_interrupt, nullptr);
        sigaction(SIGTERM, &previous_termination, nullptr);
        interrupt_fd = -1;
    }
    interrupt_handlers(const interrupt_handlers&) = delete;
    interrupt_handlers& operator=(const interrupt_handlers&) = delete;

  private:
    struct sigaction previous_interrupt {};
    struct sigaction previous_termination {};
};

std::string json_text(const std::string& text) {
    std::string quoted = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\') {
            quoted += '\\';
            quoted += character;
        } else if (static_cast<unsigned char>(character) < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned int>(character));
            quoted += escape;
        } else {
            quoted += character;
        }
    }
    return quoted + "\"";
}

std::string utc_now() {
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm parts{};
    gmtime_r(&now, &parts);
    char text[32] = {};
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

const char* port_name(int usb_port_type) {
    static const char* const names[] = {"USB 1.0", "USB 2.0", "USB 3.0"};
    return usb_port_type >= 0 && usb_port_type <= 2 ? names[usb_port_type] : "unknown";
}

// Prints events from the listener threads, one whole line at a time, and
// wakes the main thread once the requested number has been printed.
class event_printer {
  public:
    event_printer(bool json, int event_limit, const wake_pipe& finished)
        : json_lines(json), limit(event_limit), finished_pipe(finished) {}

    void print(const char* event, const std::string& serial_number, int usb_port_type, bool counted)
        QX_EXCLUDES(mutex) {
        std::ostringstream line;
        const std::string time = utc_now();
        if (json_lines) {
            line << "{\"time\":" << json_text(time) << ",\"event\":\"" << event
                 << "\",\"serial_number\":" << json_text(serial_number);
            if (usb_port_type >= 0) {
                line << ",\"usb_port_type\":" << usb_port_type << ",\"usb_port\":\"" << port_name(usb_port_type)
                     << "\"";
            }
            line << "}";
        } else {
            line << time << "  " << event << "  " << serial_number;
            if (usb_port_type >= 0)
                line << "  " << port_name(usb_port_type);
        }
        {
            platform::scoped_lock_class lock(mutex);
            std::printf("%s\n", line.str().c_str());
            std::fflush(stdout);
            if (!counted)
                return;
            if (++printed == limit)
                finished_pipe.wake();
        }
        progressed.notify_all();
    }

    // Blocks until `count` arrivals and removals have been printed, or the
    // monitor ends.
    void wait_until_printed(int count) QX_EXCLUDES(mutex) {
        platform::scoped_lock_class lock(mutex);
        progressed.wait(lock, [&]() QX_REQUIRES(mutex) { return printed >= count || ending; });
    }
    void end_waits() QX_EXCLUDES(mutex) {
        {
            platform::scoped_lock_class lock(mutex);
            ending = true;
        }
        progressed.notify_all();
    }

    static void on_connect(const char* serial_number, int usb_port_type, void* context) {
        static_cast<event_printer*>(context)->print("arrival", serial_number, usb_port_type, true);
    }
    static void on_disconnect(const char* serial_number, void* context) {
        static_cast<event_printer*>(context)->print("removal", serial_number, -1, true);
    }

  private:
    const bool json_lines;
    const int limit;
    const wake_pipe& finished_pipe;
    platform::mutex_class mutex;
    platform::condition_variable_class progressed;
    int printed QX_GUARDED_BY(mutex) = 0;
    bool ending QX_GUARDED_BY(mutex) = false;
};

// Runs one emulator command line; comments and blank lines do nothing.
// "wait <n>" paces the script: it holds until n events have been printed,
// since an event that the next one overtakes is not queued.
void run_emulator_command(const std::string& line, event_printer& printer) {
    std::istringstream words(line);
    std::string verb;
    if (!(words >> verb) || verb[0] == '#')
        return;
    std::string rest;
    std::getline(words >> std::ws, rest);
    char path[256] = {};
    int status = QX_EMU_INVALID;
    if (verb == "plug") {
        status = qx_emu_plug_camera(rest.empty() ? nullptr : rest.c_str(), path, sizeof path);
    } else if (verb == "unplug") {
        status = qx_emu_unplug_camera(rest.c_str());
    } else if (verb == "wait") {
        printer.wait_until_printed(std::atoi(rest.c_str()));
        return;
    } else if (verb == "move") {
        std::istringstream arguments(rest);
        std::string from;
        int port = 0;
        arguments >> from >> port;
        status = qx_emu_move_camera(from.c_str(), port, path, sizeof path);
    } else {
        std::fprintf(stderr, "qx-camera: unknown emulator command '%s'\n", verb.c_str());
        return;
    }
    if (status != QX_EMU_OK) {
        std::fprintf(stderr, "qx-camera: %s failed: %s\n", verb.c_str(), qx_emu_get_last_error());
    } else if (path[0] != '\0') {
        std::fprintf(stderr, "qx-camera: %s: %s\n", verb.c_str(), path);
    }
}

// Reads emulator commands from a file until its end, or from a FIFO until
// the monitor ends (each writer that closes it is followed by the next).
void run_emulator_commands(const std::string& file_name, const wake_pipe& stop, event_printer& printer) {
    struct stat file_status {};
    const bool is_fifo = stat(file_name.c_str(), &file_status) == 0 && S_ISFIFO(file_status.st_mode);
    int file = open(file_name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) {
        std::fprintf(stderr, "qx-camera: cannot open %s\n", file_name.c_str());
        return;
    }
    std::string pending;
    for (;;) {
        pollfd watched[2] = {{file, POLLIN, 0}, {stop.read_end(), POLLIN, 0}};
        if (poll(watched, 2, -1) < 0) {
            if (errno == EINTR)
                continue;
            break;
        }
        if (watched[1].revents != 0)
            break;
        char chunk[4096];
        const ssize_t size = read(file, chunk, sizeof chunk);
        if (size < 0 && (errno == EAGAIN || errno == EINTR))
            continue;
        if (size == 0 && is_fifo) {
            close(file);
            file = open(file_name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
            if (file < 0)
                return;
            continue;
        }
        if (size <= 0)
            break;
        pending.append(chunk, static_cast<std::size_t>(size));
        for (std::size_t end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
            run_emulator_command(pending.substr(0, end), printer);
            pending.erase(0, end + 1);
        }
    }
    if (!pending.empty())
        run_emulator_command(pending, printer);
    close(file);
}

std::vector<std::string> split_serial_numbers(const std::string& text) {
    std::vector<std::string> serials;
    std::istringstream words(text);
    for (std::string serial; words >> serial;) serials.push_back(serial);
    return serials;
}

int report(const char* call, int status) {
    std::fprintf(stderr, "qx-camera: %s failed (%d): %s\n", call, status, qx_camera_get_last_error());
    return 1;
}

}  // namespace

int run_monitor(const monitor_options& options) {
    const wake_pipe finished;
    const wake_pipe script_stop;
    if (!finished.usable() || !script_stop.usable()) {
        std::fprintf(stderr, "qx-camera: cannot create a pipe\n");
        return 1;
    }
    const interrupt_handlers handlers(finished);
    if (const int status = qx_camera_open_sdk())
        return report("qx_camera_open_sdk", status);

    event_printer printer(options.json, options.event_limit, finished);
    int exit_code = 0;
    // Discovery first: it names the cameras already present, so that their
    // removal can be reported too.
    std::vector<char> serials(4096, '\0');
    if (const int status =
            qx_camera_discover_available_cameras(serials.data(), static_cast<int>(serials.size() - 1))) {
        exit_code = report("qx_camera_discover_available_cameras", status);
    } else if (const int status = qx_camera_set_camera_connect_callback(&event_printer::on_connect, &printer)) {
        exit_code = report("qx_camera_set_camera_connect_callback", status);
    } else if (const int status =
                   qx_camera_set_camera_disconnect_callback(&event_printer::on_disconnect, &printer)) {
        exit_code = report("qx_camera_set_camera_disconnect_callback", status);
    } else {
        for (const auto& serial : split_serial_numbers(serials.data())) printer.print("present", serial, -1, false);
        std::thread script;
        if (!options.emulator_commands.empty())
            script = std::thread(run_emulator_commands, options.emulator_commands, std::cref(script_stop),
                                 std::ref(printer));
        finished.wait();
        script_stop.wake();
        printer.end_waits();
        if (script.joinable())
            script.join();
    }
    // Closing the kit ends the listeners, so the printer is no longer
    // called; the registrations are then cleared.
    qx_camera_close_sdk();
    qx_camera_set_camera_connect_callback(nullptr, nullptr);
    qx_camera_set_camera_disconnect_callback(nullptr, nullptr);
    return exit_code;
}

void add_monitor_options(CLI::App& command, command_options& options) {
    command.add_option("--emulator-commands", options.emulator_commands,
                       "File or FIFO of emulator commands to run meanwhile: plug <camera JSON>, "
                       "unplug <path>, move <path> <port>, wait <events printed>");
    command.add_option("--count", options.event_limit, "End after this many arrivals and removals")
        ->check(CLI::Range(0, 1000000));
}

int run_monitor_command(const command_options& options) {
    return run_monitor({options.json, options.emulator_commands, options.event_limit});
}

}  // namespace qx::tool
