#!/usr/bin/env python3
"""Quendral VKO cameras from Python: settings, single frames, a stream and a callback.

Runs on a real camera, or on an emulated one when no camera is attached:

    QX_EMULATED_CAMERAS=1 python3 docs/examples/python_quickstart.py
"""

import threading

import numpy as np

import quendral_vko


def main() -> None:
    with quendral_vko.Kit() as kit:
        serials = kit.cameras()
        if not serials:
            raise SystemExit("No camera found (set QX_EMULATED_CAMERAS=1 for an emulated one).")
        with kit.open(serials[0]) as cam:
            print(f"{cam.model} {cam.serial}, firmware {cam.firmware_version}")
            low, high = cam.ranges["exposure_us"]
            cam.exposure_us = max(low, min(high, 10_000))
            cam.frames_per_trigger = 0  # stream until disarmed
            print(f"exposure {cam.exposure_us} us, gain {cam.gain_db} dB, region {cam.roi}")

            cam.arm(buffers=16)
            cam.trigger()

            # One frame, read in place: the view is valid inside the block.
            with cam.grab(timeout=1.0) as frame:
                print(f"frame {frame.counter}: {frame.width} x {frame.height}, "
                      f"mean {frame.array.mean():.1f}, time stamp {frame.metadata.get('timestamp')}")
                kept = frame.copy()  # survives the frame

            # A stream: each frame goes back to the camera when the loop moves on.
            means = [float(frame.array.mean()) for frame in cam.frames(count=20)]
            print(f"20 frames, mean of means {np.mean(means):.1f}; kept frame max {kept.max()}")

            # A callback on the package's dispatcher thread.
            done = threading.Event()
            seen = []

            def on_frame(frame: quendral_vko.Frame) -> None:
                seen.append(frame.counter)
                if len(seen) == 10:
                    done.set()

            cam.disarm()
            cam.on_frame(on_frame)
            cam.arm(buffers=16)
            cam.trigger()
            done.wait(10.0)
            cam.on_frame(None)
            print(f"callback saw {len(seen)} frames; statistics {cam.statistics}")


if __name__ == "__main__":
    main()
