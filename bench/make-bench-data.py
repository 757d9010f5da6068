#!/usr/bin/env python3
"""Writes the data the peer comparison runs on, as Part 10 files in explicit
VR little endian, independently of the toolkit (so every tool reads the same
bytes, whoever wrote them):

  rtstruct.dcm     an RT structure set with about 20,000 elements: 240 ROIs,
                   each with a contour sequence of 25 contours
  multiframe.dcm   a multi-frame grayscale word secondary capture of SIZE MB
                   (default 256): 512x512 frames of 16-bit pixels

usage: make-bench-data.py FOLDER [--multiframe-mb SIZE]
"""
import argparse
import os
import struct

EXPLICIT_LE = "1.2.840.10008.1.2.1"
RT_STRUCT = "1.2.840.10008.5.1.4.1.1.481.3"
MF_GRAY_WORD_SC = "1.2.840.10008.5.1.4.1.1.7.3"
UID_ROOT = "1.2.826.0.1.3680043.10.1147.99."
LONG_VRS = {b"OB", b"OW", b"OF", b"OD", b"OL", b"OV", b"SQ", b"UN", b"UT", b"UC", b"UR"}
UNDEFINED = 0xFFFFFFFF


def pad(value, vr):
    if isinstance(value, str):
        value = value.encode("ascii")
    if len(value) % 2:
        value += b"\0" if vr in (b"UI", b"OB") else b" "
    return value


def element(group, elem, vr, value):
    """One explicit VR little endian element with a defined length."""
    vr = vr.encode("ascii")
    value = pad(value, vr)
    if vr in LONG_VRS:
        return struct.pack("<HH2sHI", group, elem, vr, 0, len(value)) + value
    return struct.pack("<HH2sH", group, elem, vr, len(value)) + value


def sequence(group, elem, items):
    """A sequence of undefined length whose items have undefined lengths."""
    out = [struct.pack("<HH2sHI", group, elem, b"SQ", 0, UNDEFINED)]
    for item in items:
        out.append(struct.pack("<HHI", 0xFFFE, 0xE000, UNDEFINED))
        out.append(item)
        out.append(struct.pack("<HHI", 0xFFFE, 0xE00D, 0))
    out.append(struct.pack("<HHI", 0xFFFE, 0xE0DD, 0))
    return b"".join(out)


def part10(sop_class, sop_instance, body):
    meta_body = b"".join([
        element(0x0002, 0x0001, "OB", b"\0\1"),
        element(0x0002, 0x0002, "UI", sop_class),
        element(0x0002, 0x0003, "UI", sop_instance),
        element(0x0002, 0x0010, "UI", EXPLICIT_LE),
        element(0x0002, 0x0012, "UI", UID_ROOT + "1"),
        element(0x0002, 0x0013, "SH", "BENCHDATA"),
    ])
    meta = element(0x0002, 0x0000, "UL", struct.pack("<I", len(meta_body))) + meta_body
    return b"\0" * 128 + b"DICM" + meta + body


def patient_study(sop_class, sop_instance, modality):
    return [
        element(0x0008, 0x0016, "UI", sop_class),
        element(0x0008, 0x0018, "UI", sop_instance),
        element(0x0008, 0x0020, "DA", "20240301"),
        element(0x0008, 0x0030, "TM", "101500"),
        element(0x0008, 0x0060, "CS", modality),
        element(0x0010, 0x0010, "PN", "Bench^Patient"),
        element(0x0010, 0x0020, "LO", "BENCH-0001"),
        element(0x0020, 0x000D, "UI", UID_ROOT + "2"),
        element(0x0020, 0x000E, "UI", UID_ROOT + "3." + modality),
        element(0x0020, 0x0010, "SH", "1"),
        element(0x0020, 0x0011, "IS", "1"),
    ]


def rt_struct(path):
    instance = UID_ROOT + "4.1"
    rois, contours, points_per_contour = 220, 20, 80
    roi_items, contour_items, observation_items = [], [], []
    for roi in range(1, rois + 1):
        roi_items.append(b"".join([
            element(0x3006, 0x0022, "IS", str(roi)),
            element(0x3006, 0x0024, "UI", UID_ROOT + "5"),
            element(0x3006, 0x0026, "LO", "ROI %d" % roi),
            element(0x3006, 0x0036, "CS", "MANUAL"),
        ]))
        per_contour = []
        for c in range(contours):
            points = []
            for p in range(points_per_contour):
                points += ["%.3f" % (roi + p * 0.517), "%.3f" % (c * 1.5 - p * 0.25), "%.1f" % (c * 2.5)]
            per_contour.append(b"".join([
                element(0x3006, 0x0042, "CS", "CLOSED_PLANAR"),
                element(0x3006, 0x0046, "IS", str(points_per_contour)),
                element(0x3006, 0x0048, "IS", str(c + 1)),
                element(0x3006, 0x0050, "DS", "\\".join(points)),
            ]))
        contour_items.append(b"".join([
            element(0x3006, 0x002A, "IS", "255\\%d\\0" % (roi % 256)),
            sequence(0x3006, 0x0040, per_contour),
            element(0x3006, 0x0084, "IS", str(roi)),
        ]))
        observation_items.append(b"".join([
            element(0x3006, 0x0082, "IS", str(roi)),
            element(0x3006, 0x0084, "IS", str(roi)),
            element(0x3006, 0x00A4, "CS", "ORGAN"),
        ]))
    body = b"".join(patient_study(RT_STRUCT, instance, "RTSTRUCT") + [
        element(0x3006, 0x0002, "SH", "BENCH"),
        element(0x3006, 0x0008, "DA", "20240301"),
        element(0x3006, 0x0009, "TM", "101500"),
        sequence(0x3006, 0x0020, roi_items),
        sequence(0x3006, 0x0039, contour_items),
        sequence(0x3006, 0x0080, observation_items),
    ])
    with open(path, "wb") as out:
        out.write(part10(RT_STRUCT, instance, body))


def multiframe(path, megabytes):
    instance = UID_ROOT + "6.1"
    rows = cols = 512
    frame_bytes = rows * cols * 2
    frames = max(1, megabytes * 1024 * 1024 // frame_bytes)
    header = b"".join(patient_study(MF_GRAY_WORD_SC, instance, "OT") + [
        element(0x0028, 0x0002, "US", struct.pack("<H", 1)),
        element(0x0028, 0x0004, "CS", "MONOCHROME2"),
        element(0x0028, 0x0008, "IS", str(frames)),
        element(0x0028, 0x0009, "AT", struct.pack("<HH", 0x0018, 0x2002)),
        element(0x0028, 0x0010, "US", struct.pack("<H", rows)),
        element(0x0028, 0x0011, "US", struct.pack("<H", cols)),
        element(0x0028, 0x0100, "US", struct.pack("<H", 16)),
        element(0x0028, 0x0101, "US", struct.pack("<H", 12)),
        element(0x0028, 0x0102, "US", struct.pack("<H", 11)),
        element(0x0028, 0x0103, "US", struct.pack("<H", 0)),
    ])
    total = frames * frame_bytes
    ramp = bytes((i * 7) & 0x0F if i % 2 else (i * 13) & 0xFF for i in range(frame_bytes))
    with open(path, "wb") as out:
        out.write(part10(MF_GRAY_WORD_SC, instance, header))
        out.write(struct.pack("<HH2sHI", 0x7FE0, 0x0010, b"OW", 0, total))
        for _ in range(frames):
            out.write(ramp)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("folder")
    parser.add_argument("--multiframe-mb", type=int, default=256)
    args = parser.parse_args()
    os.makedirs(args.folder, exist_ok=True)
    rt_struct(os.path.join(args.folder, "rtstruct.dcm"))
    multiframe(os.path.join(args.folder, "multiframe.dcm"), args.multiframe_mb)


if __name__ == "__main__":
    main()
