"""qx-camera as a script or a user at a terminal runs it, on emulated cameras."""

import json
import os
import pty
import signal
import subprocess

import numpy
import pytest
import tifffile
from astropy.io import fits

TOOL = os.environ["QX_CAMERA_TOOL"]
DEMO = os.environ["QX_DEMO_CAMERAS"]


def run(*arguments, emulate="1", cwd=None):
    environment = dict(os.environ)
    environment.pop("QX_EMULATED_CAMERAS", None)
    command = [TOOL, *arguments] + (["--emulate", emulate] if emulate else [])
    return subprocess.run(command, capture_output=True, text=True, timeout=120, env=environment, cwd=cwd)


@pytest.mark.parametrize("arguments, emulate, code, message", [
    (["get", "no_such"], "1", 2, "unknown parameter 'no_such'"),
    (["set", "exposure_us=soon"], "1", 2, "Value 'soon' of exposure_us is not an integer."),
    (["set", "bit_depth=8"], "1", 2, "Parameter 'bit_depth' is read-only."),
    (["set", "exposure_us"], "1", 2, "expected NAME=VALUE"),
    (["stream", "--frames", "2", "--duration", "1"], "1", 2, "excludes"),
    (["snap", "-o", "frame.jpg"], "1", 2, "cannot tell the format of 'frame.jpg'"),
    (["snap", "-o", "no_extension"], "1", 2, "cannot tell the format of 'no_extension'"),
    (["stream", "--frames", "2", "-o", "burst.png"], "1", 2, "holds one frame; put {n} in the name"),
    (["stream", "--duration", "1", "-o", "burst.png"], "1", 2, "holds one frame; put {n} in the name"),
    (["info", "--serial", "NO-SUCH-CAMERA"], "1", 3, "Serial number not found"),
    (["info"], "0", 3, "no camera found"),
    (["snap", "-o", "never.tif", "--timeout", "0.5"], "slow.json", 5, "no frame came"),
])
def test_failures_exit_with_their_documented_code(arguments, emulate, code, message, tmp_path):
    # A camera whose first frame is held back, so that a short wait runs out.
    (tmp_path / "slow.json").write_text(json.dumps(
        {"cameras": [{"frame_time_us": 10000000, "faults": {"delay_packet": {"frames": [0], "ms": 5000}}}]}))
    result = run(*arguments, emulate=emulate, cwd=tmp_path)
    assert result.returncode == code, result.stderr
    assert message in result.stderr
    assert os.listdir(tmp_path) == ["slow.json"], "a refused run wrote a file"


def test_no_camera_at_all_is_listed_as_none():
    result = run("list", emulate="0")
    assert result.returncode == 0 and "No camera found." in result.stdout


def test_lost_frames_beyond_the_limit_fail_after_the_summary(tmp_path):
    cameras = tmp_path / "lossy.json"
    cameras.write_text(json.dumps({"cameras": [{"faults": {"drop_packet": {"frames": [3]}}}]}))
    result = run("stream", "--frames", "8", "--max-lost", "0", "--json", emulate=str(cameras))
    summary = json.loads(result.stdout.splitlines()[-1])
    assert summary["event"] == "summary" and summary["lost"] >= 1
    assert result.returncode == 6, result.stderr
    assert run("stream", "--frames", "8", "--max-lost", "5", emulate=str(cameras)).returncode == 0


def test_set_reports_what_the_camera_took_and_params_lists_every_row():
    result = run("set", "exposure_us=20000", "roi=8,4,1024,512", "trigger_mode=bulb", "--json")
    assert result.returncode == 0, result.stderr
    assert json.loads(result.stdout) == {"exposure_us": 20000, "roi": [8, 4, 1024, 512], "trigger_mode": "bulb"}
    rows = json.loads(run("params", "--json").stdout)
    names = [row["name"] for row in rows]
    assert {"exposure_us", "gain_db", "roi", "binning", "trigger_mode"} <= set(names)
    exposure = rows[names.index("exposure_us")]
    assert exposure["unit"] == "us" and exposure["access"] == "rw"
    assert exposure["minimum"] <= exposure["value"] <= exposure["maximum"]
    assert rows[names.index("bit_depth")]["access"] == "ro"


def test_a_snapshot_carries_the_cameras_raw_counts_and_its_metadata(tmp_path):
    result = run("snap", "-o", str(tmp_path / "frame.tif"), emulate=DEMO)
    assert result.returncode == 0, result.stderr
    with tifffile.TiffFile(tmp_path / "frame.tif") as tiff:
        pixels = tiff.pages[0].asarray()
        metadata = json.loads(tiff.pages[0].description)
    assert pixels.dtype == numpy.uint16 and pixels.shape == (2048, 2448)
    assert metadata["serial_number"] == "QV-DEMO-0001" and metadata["bit_depth"] == 12
    assert pixels.max() < 4096 and pixels.max() > pixels.min()  # raw counts of a 12-bit camera


def test_bursts_keep_every_frame_in_order_and_msb_alignment_scales(tmp_path):
    run("stream", "--frames", "4", "-o", str(tmp_path / "burst.tif"), "--compression", "deflate", emulate=DEMO)
    run("stream", "--frames", "4", "-o", str(tmp_path / "cube.fits"), "--fits-cube", "--msb-align", emulate=DEMO)
    run("stream", "--frames", "2", "-o", str(tmp_path / "frame_{n}.png"))
    assert sorted(path.name for path in tmp_path.glob("frame_*")) == ["frame_000000.png", "frame_000001.png"]
    with tifffile.TiffFile(tmp_path / "burst.tif") as tiff:
        pages = [page.asarray() for page in tiff.pages]
        counts = [json.loads(page.description)["frame_count"] for page in tiff.pages]
    assert len(pages) == 4 and counts == list(range(counts[0], counts[0] + 4))
    with fits.open(tmp_path / "cube.fits") as hdus:
        cube = hdus[0].data
        assert cube.shape == (4, 2048, 2448) and hdus[0].header["NFRAMES"] == 4
        assert numpy.array_equal(cube.astype(numpy.uint32), numpy.stack(pages).astype(numpy.uint32) << 4)


def read_until_closed(descriptor):
    chunks = []
    try:
        while chunk := os.read(descriptor, 4096):
            chunks.append(chunk)
    except OSError:  # the terminal's other side has closed
        pass
    return b"".join(chunks)


def test_stream_shows_a_live_line_on_a_terminal_and_a_plain_summary_on_a_pipe():
    process_id, terminal = pty.fork()
    if process_id == 0:
        os.execv(TOOL, [TOOL, "stream", "--frames", "40", "--emulate", "1"])
    output = read_until_closed(terminal).decode()
    _, status = os.waitpid(process_id, 0)
    assert os.waitstatus_to_exitcode(status) == 0, output
    live = [part for part in output.split("\r") if part.startswith("frames ")]
    assert live, output
    for field in ("frames/s", "MiB/s", "lost", "incomplete"):
        assert field in live[-1]
    assert live[-1].startswith("frames 40 ")
    assert "Received 40 frames" in output

    # A short stream on a pipe still reports a rate, and says who measured it.
    piped = run("stream", "--frames", "10")
    assert piped.returncode == 0 and "\r" not in piped.stdout and "Received 10 frames" in piped.stdout
    assert "measured by qx-camera over the whole stream" in piped.stdout and " 0.0 frames/s" not in piped.stdout
    summary = json.loads(run("stream", "--frames", "10", "--json").stdout.splitlines()[-1])
    assert summary["frames"] == 10 and summary["frames_per_second"] > 0
    assert summary["rate_source"] == "qx-camera"


def test_ctrl_c_stops_the_stream_cleanly_with_its_summary():
    process = subprocess.Popen([TOOL, "stream", "--emulate", "1"], stdout=subprocess.PIPE, text=True)
    assert process.stdout.readline().startswith("Streaming")
    process.send_signal(signal.SIGINT)
    rest = process.stdout.read()
    assert process.wait(timeout=60) == 130
    assert "Received" in rest and "Lost" in rest


def test_completion_offers_subcommands_parameters_and_assignments_and_is_the_installed_script():
    script = run("completion", "bash", emulate=None).stdout
    committed = os.path.join(os.path.dirname(__file__), "../../tools/qx_camera/qx-camera.bash-completion")
    with open(committed) as installed:
        assert installed.read() == script, \
            "regenerate it: qx-camera completion bash > tools/qx_camera/qx-camera.bash-completion"

    def complete(*words):
        line = " ".join(words)
        program = (script + f"\nCOMP_WORDS=(qx-camera {line}); COMP_CWORD={len(words)}; _qx_camera; "
                   'printf "%s\\n" "${COMPREPLY[@]}"')
        return subprocess.run(["bash", "-c", program], capture_output=True, text=True).stdout.split()

    assert {"get", "set", "snap", "stream", "monitor", "doctor"} <= set(complete("''"))
    assert complete("get", "expo") == ["exposure_us"]
    assert "roi=" in complete("set", "ro") and "bit_depth=" not in complete("set", "bit")
    assert "--frames" in complete("stream", "--fr")


def write_files(root, files):
    for name, text in files.items():
        (root / name).parent.mkdir(parents=True, exist_ok=True)
        (root / name).write_text(text)


def test_doctor_says_what_to_do_for_each_problem(tmp_path):
    usbfs, device = "sys/module/usbcore/parameters/usbfs_memory_mb", "sys/bus/usb/devices/2-1/"
    write_files(tmp_path, {usbfs: "16\n", device + "idVendor": "2a7c\n", device + "busnum": "2\n",
                           device + "devnum": "7\n", device + "speed": "480\n"})
    result = run("doctor", "--system-root", str(tmp_path), "--json")
    findings = {finding["check"]: finding for finding in json.loads(result.stdout)}
    assert result.returncode == 1
    assert findings["usbfs_memory_mb"]["status"] == "problem" and "usbfs_memory_mb" in findings["usbfs_memory_mb"]["advice"]
    assert findings["udev rule"]["status"] == "problem" and "udevadm" in findings["udev rule"]["advice"]
    assert findings["camera at /dev/bus/usb/002/007 permissions"]["status"] == "problem"
    assert findings["camera at /dev/bus/usb/002/007 link"]["status"] == "warning"
    assert findings["QV10000001 link"]["status"] == "ok"
    for finding in findings.values():
        assert finding["status"] == "ok" or finding["advice"]

    write_files(tmp_path, {usbfs: "1000\n", device + "speed": "5000\n", "dev/bus/usb/002/007": "",
                           "etc/udev/rules.d/60-cameras.rules": 'ATTRS{idVendor}=="2A7C", MODE="0666"\n'})
    result = run("doctor", "--system-root", str(tmp_path))
    assert result.returncode == 0, result.stdout
    assert "what to do" not in result.stdout

