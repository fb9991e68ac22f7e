#!/usr/bin/env python3
"""Writes the seed corpus: one valid call of each exported function, in the fuzz target's
input layout, plus a few refusals at the edges of the int range. Usage: make_seeds.py DIR"""
import os
import struct
import sys

# Function order as in fuzz/calls.cpp: (int arguments, float arguments) of a valid call.
CALLS = [
    ([16], []), ([16], []), ([16, 1], []), ([100, 16, 4, 1], []),
    ([100, 16, 4, 16, 1, 32, 1, 1], [2.0]), ([10, 9, 4, 1], []),
    ([10, 9, 4, 16, 1, 64, 1, 1], []), ([33, 8, 16000, 0, 0], [0.0, 8000.0]),
    ([200, 16000, 32, 8, 32, 1, 64, 1, 1, 8, 0, 0], [2.0, 0.0, 8000.0]),
    ([9, 5, 4], []), ([64, 64, 3, 3, 2], []), ([4, 3, 3], []), ([64, 64, 3, 3, 1, 9], []),
    ([48000, 100, 16000], []), ([3, 150, 2, 100], []), ([32], [2.0]), ([9, 5, 0], [1.0]),
    ([32], [80.0]), ([32], []), ([32], []), ([400, 16, 4], [60.0]), ([9, 10, 7], [0.0]),
]


def encode_int(v):
    """Counts below 2^16 as two bytes (selector class 3); others as four raw bytes."""
    if 0 <= v < 1 << 16:
        return bytes([3 << 5]) + struct.pack("<H", v)
    return bytes([7 << 5]) + struct.pack("<i", v)


def encode_float(v):
    return bytes([0x80]) + struct.pack("<f", v)


def seed(fn, ints, floats, flags=0):
    body = bytes([fn]) + b"".join(map(encode_int, ints)) + b"".join(map(encode_float, floats))
    samples = b"".join(struct.pack("<f", ((k * 37) % 101 - 50) / 50.0) for k in range(64))
    return body + bytes([flags]) + samples


def main():
    out = sys.argv[1]
    os.makedirs(out, exist_ok=True)
    for fn, (ints, floats) in enumerate(CALLS):
        with open(os.path.join(out, f"valid-{fn:02d}"), "wb") as f:
            f.write(seed(fn, ints, floats))
        with open(os.path.join(out, f"aliased-{fn:02d}"), "wb") as f:
            f.write(seed(fn, ints, floats, flags=1))
        with open(os.path.join(out, f"huge-{fn:02d}"), "wb") as f:
            f.write(seed(fn, [2**31 - 1] + ints[1:], floats))


if __name__ == "__main__":
    main()
