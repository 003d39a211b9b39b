#!/usr/bin/env python3
"""The seven functions from Python through ctypes: writes a file, reads it back, compares.

    exports.py FILE.wav [LIBRARY]
"""

import ctypes
import math
import sys

path = sys.argv[1].encode()
# Loading it sets flush-to-zero on this thread.
library = ctypes.CDLL(sys.argv[2] if len(sys.argv) > 2 else "libOmbrineAudiofile.so")

u64, f32, f64, handle_t = ctypes.c_uint64, ctypes.c_float, ctypes.c_double, ctypes.c_void_p
buffers_t = ctypes.POINTER(ctypes.POINTER(f32))
for name, arguments in {
    "Open_Read": [ctypes.c_char_p, ctypes.POINTER(u64), ctypes.POINTER(u64), ctypes.POINTER(f64),
                  ctypes.POINTER(handle_t)],
    "Read": [handle_t, buffers_t, u64, ctypes.POINTER(u64), f32],
    "Close_Read": [handle_t],
    "Open_Write": [ctypes.c_char_p, u64, ctypes.POINTER(handle_t), f64],
    "Write": [handle_t, buffers_t, u64, ctypes.POINTER(u64), f32],
    "Close_Write": [handle_t],
    "Get_Revision": [],
}.items():
    function = getattr(library, "Ombrine_Audiofile_" + name)
    function.argtypes = arguments
    function.restype = ctypes.POINTER(ctypes.c_char_p) if name == "Get_Revision" else None
    globals()[name] = function


def buffers(channels):
    """One float array a channel, as the library takes them."""
    pointers = [ctypes.cast(channel, ctypes.POINTER(f32)) for channel in channels]
    return (ctypes.POINTER(f32) * len(channels))(*pointers)


FRAMES = 1000
left = (f32 * FRAMES)(*[math.sin(0.05 * i) for i in range(FRAMES)])
right = (f32 * FRAMES)(*[0.25 * math.cos(0.03 * i) for i in range(FRAMES)])

handle, count = handle_t(), u64()
Open_Write(path, 2, ctypes.byref(handle), 48000.0)
Write(handle, buffers([left, right]), FRAMES, ctypes.byref(count), 1.0)
Close_Write(handle)

samples, channels, rate = u64(), u64(), f64()
Open_Read(path, ctypes.byref(samples), ctypes.byref(channels), ctypes.byref(rate), ctypes.byref(handle))
got = [(f32 * FRAMES)() for _ in range(channels.value)]
Read(handle, buffers(got), FRAMES, ctypes.byref(count), 1.0)
Close_Read(handle)

worst = max(abs(a - b) for sent, back in zip([left, right], got) for a, b in zip(sent, back))
revision = Get_Revision()
print(f"{channels.value} channels, {rate.value:g} Hz, {count.value} frames, "
      f"worst difference {worst * 32767:.2f} steps, revision "
      + ".".join(revision[i].decode() for i in range(3)))
sys.exit(0 if worst * 32767 <= 0.51 and count.value == FRAMES else 1)
