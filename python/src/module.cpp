// The extension behind the quendral_vko package: thin bindings of the kit's
// C interface and of the emulator. Every call that can wait runs without the
// interpreter lock; the package's Python layer adds the context managers,
// the interruptible waits, the callbacks' dispatcher and the parameters.

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <array>
#include <string>

#include "camera_session_class.h"
#include "held_frame_class.h"
#include "kit_session_class.h"
#include "quendral_vko_camera_emulator.h"
#include "quendral_vko_camera_sdk.h"
#include "status_error.h"

namespace py = pybind11;
using qx::python::camera_session_class;
using qx::python::check_emulator;
using qx::python::check_sdk;
using qx::python::held_frame_class;
using qx::python::hotplug_event;
using qx::python::kit_session_class;
using qx::python::status_error;

namespace {

// The catalogue as a list of dictionaries.
py::list parameter_catalogue() {
    py::list rows;
    int count = 0;
    check_sdk(qx_camera_get_parameter_count(&count));
    for (int index = 0; index < count; ++index) {
        qx_parameter_description description{};
        check_sdk(qx_camera_get_parameter_description(index, &description));
        py::dict row;
        row["name"] = description.name ? description.name : "";
        row["unit"] = description.unit ? description.unit : "";
        row["description"] = description.description ? description.description : "";
        row["value_type"] = description.value_type;
        row["flags"] = description.flags;
        rows.append(row);
    }
    return rows;
}

// A read-only view of the frame's pixels whose base object is the frame
// itself, so the slot lives as long as any view of it.
py::array pixel_view(py::object frame_object) {
    auto& frame = frame_object.cast<held_frame_class&>();
    if (frame.pixels() == nullptr || frame.width() <= 0 || frame.height() <= 0)
        throw status_error(QX_STATUS_INVALID_OPERATION, "The frame holds no pixels.");
    const auto row_bytes = static_cast<py::ssize_t>(frame.width()) * static_cast<py::ssize_t>(sizeof(std::uint16_t));
    py::array_t<std::uint16_t> view({static_cast<py::ssize_t>(frame.height()), static_cast<py::ssize_t>(frame.width())},
                                    {row_bytes, static_cast<py::ssize_t>(sizeof(std::uint16_t))}, frame.pixels(),
                                    frame_object);
    py::detail::array_proxy(view.ptr())->flags &= ~py::detail::npy_api::NPY_ARRAY_WRITEABLE_;
    return view;
}

py::dict counters_of(const std::string& device_path) {
    qx_emu_counters values{};
    check_emulator(qx_emu_get_counters(device_path.c_str(), &values));
    py::dict counters;
    counters["frames_started"] = values.frames_started;
    counters["frames_completed"] = values.frames_completed;
    counters["frames_dropped"] = values.frames_dropped;
    counters["packets_sent"] = values.packets_sent;
    counters["commands_received"] = values.commands_received;
    counters["faults_injected"] = values.faults_injected;
    counters["faults_by_kind"] = py::cast(std::to_array(values.faults_by_kind));
    return counters;
}

// Emulator calls that write a device path answer it as text.
template <class Call>
std::string path_result(Call&& call) {
    std::array<char, 512> path{};
    {
        py::gil_scoped_release unlocked;
        check_emulator(call(path.data(), static_cast<int>(path.size())));
    }
    return std::string(path.data());
}

void bind_emulator(py::module_& parent) {
    auto emulator = parent.def_submodule("_emulator", "The emulator's control interface.");
    emulator.def(
        "reset",
        [](const std::string& config) {
            py::gil_scoped_release unlocked;
            check_emulator(qx_emu_reset(config.c_str()));
        },
        py::arg("config"));
    emulator.def(
        "camera_count", [](const char* family) { return qx_emu_get_camera_count(family); },
        py::arg("family") = py::none());
    emulator.def(
        "camera_path",
        [](const char* family, int index) {
            return path_result(
                [&](char* path, int size) { return qx_emu_get_camera_path(family, index, path, size); });
        },
        py::arg("family"), py::arg("index"));
    emulator.def(
        "plug",
        [](const char* camera_json) {
            return path_result([&](char* path, int size) { return qx_emu_plug_camera(camera_json, path, size); });
        },
        py::arg("camera_json") = py::none());
    emulator.def(
        "unplug",
        [](const std::string& path) {
            py::gil_scoped_release unlocked;
            check_emulator(qx_emu_unplug_camera(path.c_str()));
        },
        py::arg("device_path"));
    emulator.def(
        "move",
        [](const std::string& device_path, int port) {
            return path_result([&](char* path, int size) {
                return qx_emu_move_camera(device_path.c_str(), port, path, size);
            });
        },
        py::arg("device_path"), py::arg("port"));
    emulator.def(
        "pulse_hardware_trigger",
        [](const std::string& path) { check_emulator(qx_emu_pulse_hardware_trigger(path.c_str())); },
        py::arg("device_path"));
    emulator.def(
        "set_faults",
        [](const std::string& path, const std::string& faults) {
            check_emulator(qx_emu_set_faults(path.c_str(), faults.c_str()));
        },
        py::arg("device_path"), py::arg("faults_json"));
    emulator.def("counters", &counters_of, py::arg("device_path"));
}

}  // namespace

PYBIND11_MODULE(_quendral_vko, module) {
    module.doc() = "Bindings of the Quendral VKO camera SDK; use the quendral_vko package.";

    py::register_exception_translator([](std::exception_ptr failure) {
        try {
            if (failure) std::rethrow_exception(failure);
        } catch (const status_error& error) {
            py::object exception = py::module_::import("quendral_vko.errors")
                                       .attr("_from_status")(error.status(), error.what(), error.from_emulator());
            PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(exception.ptr())), exception.ptr());
        }
    });

    py::class_<held_frame_class, std::shared_ptr<held_frame_class>>(module, "HeldFrame")
        .def_property_readonly("counter", &held_frame_class::counter)
        .def_property_readonly("width", &held_frame_class::width)
        .def_property_readonly("height", &held_frame_class::height)
        .def_property_readonly("bit_depth", &held_frame_class::bit_depth)
        .def_property_readonly("metadata",
                               [](const held_frame_class& frame) {
                                   const auto* bytes = reinterpret_cast<const char*>(frame.metadata());
                                   return py::bytes(bytes ? bytes : "",
                                                    bytes ? static_cast<std::size_t>(frame.metadata_size()) : 0);
                               })
        .def("pixels", &pixel_view);

    using unlocked = py::call_guard<py::gil_scoped_release>;
    py::class_<kit_session_class>(module, "KitSession")
        .def(py::init<>(), unlocked())
        .def("close", &kit_session_class::close)
        .def("cameras", &kit_session_class::cameras, unlocked())
        .def("listen_for_hotplug", &kit_session_class::listen_for_hotplug)
        .def(
            "next_event",
            [](kit_session_class& kit, int timeout_ms) -> py::object {
                std::optional<hotplug_event> event;
                {
                    py::gil_scoped_release unlocked_wait;
                    event = kit.next_event(timeout_ms);
                }
                if (!event) return py::none();
                return py::make_tuple(event->connected, event->serial_number, event->usb_port_type);
            },
            py::arg("timeout_ms"));

    py::class_<camera_session_class>(module, "CameraSession")
        .def(py::init<const std::string&>(), py::arg("serial_number"), unlocked())
        .def("close", &camera_session_class::close, unlocked())
        .def_property_readonly("is_open", &camera_session_class::is_open)
        .def("arm", &camera_session_class::arm, py::arg("buffers"), unlocked())
        .def("disarm", &camera_session_class::disarm, unlocked())
        .def("trigger", &camera_session_class::trigger, unlocked())
        .def("is_armed", &camera_session_class::is_armed, unlocked())
        .def("acquire", &camera_session_class::acquire, py::arg("timeout_ms"), unlocked())
        .def("get_parameter", &camera_session_class::get_parameter, py::arg("name"), unlocked())
        .def("set_parameter", &camera_session_class::set_parameter, py::arg("name"), py::arg("value"), unlocked())
        .def("parameter_range", &camera_session_class::parameter_range, py::arg("name"), unlocked())
        .def("statistics", &camera_session_class::statistics, unlocked())
        .def("command", &camera_session_class::command, py::arg("text"), unlocked());

    module.def("parameter_catalogue", &parameter_catalogue);
    bind_emulator(module);
}
