#!/usr/bin/env python3
"""Writes the seeds of FuzzPcap, FuzzPcapng, FuzzSniffer, FuzzStream, FuzzWriters and FuzzGzip into the folders beside this script: small, and one per path."""

import pathlib
import struct
import zlib

here = pathlib.Path(__file__).parent
frame = bytes.fromhex("ffffffffffff 02000000000a 0806 0001 0800 06 04 0001 02000000000a 0a000001 000000000000 0a000002")


def save(folder, name, content):
    path = here / folder / name
    path.parent.mkdir(exist_ok=True)
    path.write_bytes(content)


def pcap(order, magic, *records):
    header = struct.pack(order + "IHHIIII", magic, 2, 4, 0, 0, 65535, 1)
    return header + b"".join(struct.pack(order + "IIII", 1, 2, len(r), len(r) + 20) + r for r in records)


def block(order, kind, body):
    length = len(body) + 12
    return struct.pack(order + "II", kind, length) + body + struct.pack(order + "I", length)


def pcapng(order):
    enhanced = struct.pack(order + "IIIII", 1, 0x60000, 7, len(frame), 60) + frame + bytes(-len(frame) % 4)
    return (
        block(order, 0x0A0D0D0A, struct.pack(order + "IHHq", 0x1A2B3C4D, 1, 0, -1))
        + block(order, 1, struct.pack(order + "HHI", 1, 0, 65535) + struct.pack(order + "HHBxxxHH", 9, 1, 9, 0, 0))
        + block(order, 6, enhanced)
        + block(order, 3, struct.pack(order + "I", 61) + frame)
        + block(order, 5, bytes(12))
        + block(order, 0xBAD, b"")
        + block(order, 6, enhanced)
    )


def sniffer(version, *records, begin=128, end=None, unit=0, ticks=0, gap=b""):
    """Records of (time, data); `gap` lies before the last one, where a wrapped buffer is cut."""
    extra = bytes(28 if version.startswith("002") else 16)
    made = [struct.pack("<QHH", time, len(data), len(data)) + extra + data for time, data in records]
    body = b"".join(made[:-1]) + gap + made[-1] if made else b""
    header = b"XCP\0" + version.encode() + b"\0" + struct.pack("<II", 1000000000, len(records)) + bytes(4)
    header += struct.pack("<II", begin, 128 + len(body) if end is None else end)
    header = header.ljust(48, b"\0") + bytes([unit]) + bytes(27) + struct.pack("<I", ticks)
    return header.ljust(128, b"\0") + body


def gzipped(content, strategy=zlib.Z_DEFAULT_STRATEGY, level=9):
    squeeze = zlib.compressobj(level, zlib.DEFLATED, 31, 9, strategy)
    return squeeze.compress(content) + squeeze.flush()


small = pcap("<", 0xA1B2C3D4, frame, b"", frame)
save("Pcap", "little-endian", small)
save("Pcap", "big-endian", pcap(">", 0xA1B2C3D4, frame, frame))
save("Pcap", "little-endian-nanoseconds", pcap("<", 0xA1B23C4D, frame))
save("Pcap", "big-endian-nanoseconds", pcap(">", 0xA1B23C4D, frame))
save("Pcap", "no-frames", pcap("<", 0xA1B2C3D4))
save("Pcap", "cut-in-a-body", small[:-5])
save("Pcap", "cut-in-a-header", small[: -len(frame) - 5])
save("Pcap", "length-beyond-the-file", small[:24] + b"\xff" * 16 + frame)

blocks = pcapng("<")
save("Pcapng", "little-endian", blocks)
save("Pcapng", "big-endian", pcapng(">"))
save("Pcapng", "two-sections-of-different-order", blocks + pcapng(">"))
save("Pcapng", "section-only", blocks[:28])
save("Pcapng", "cut", blocks[:-7])
save("Pcapng", "wrong-trailing-length", blocks[:-4] + b"\0\0\0\1")
save("Pcapng", "short-interface", blocks[:28] + block("<", 1, bytes(4)))

save("Sniffer", "milliseconds", sniffer("001.000", (1, frame), (2, b""), (3, frame)))
save("Sniffer", "microseconds", sniffer("001.100", (1, frame)))
save("Sniffer", "version-2", sniffer("002.001", (1, frame), (2, frame)))
save("Sniffer", "own-clock", sniffer("002.002", (1 << 40, frame), unit=2, ticks=3579545))
two = 128 + 40 + len(frame)
save("Sniffer", "wrapped", sniffer("002.002", (2, frame), (1, frame), begin=two + 9, end=two, gap=bytes(9)))
save("Sniffer", "cut", sniffer("002.001", (1, frame), (2, frame))[:-7])
save("Sniffer", "offsets-beyond-the-file", sniffer("002.001", (1, frame), begin=0xFFFFFF00, end=0xFFFFFFFF))
save("Sniffer", "no-records", sniffer("002.003"))

for piece in 0, 6, 255:
    save("Stream", f"pcap-in-pieces-of-{piece + 1}", bytes([piece]) + small)
save("Stream", "pcapng", b"\x0a" + pcapng("<"))
save("Stream", "big-endian-pcapng", b"\x40" + pcapng(">"))
save("Stream", "cut", b"\x07" + small[:-5])
save("Stream", "out-of-step", b"\x20" + small[:24] + b"\xff" * 16 + frame)
save("Stream", "gzip", b"\x20" + gzipped(small))

for number, (name, source) in enumerate([("pcap", small), ("pcap-to-pcapng", small), ("pcapng-to-pcap", blocks)]):
    save("Writers", name, bytes([number]) + source)
save("Writers", "pcapng", b"\3" + pcapng(">"))
save("Writers", "nanoseconds", b"\1" + pcap(">", 0xA1B23C4D, frame))

dynamic = gzipped(blocks * 20)
save("Gzip", "dynamic-codes", dynamic)
save("Gzip", "fixed-codes", gzipped(small, zlib.Z_FIXED))
save("Gzip", "stored", gzipped(small, level=0))
save("Gzip", "of-nothing", gzipped(b""))
save("Gzip", "second-member", gzipped(small) + gzipped(blocks))
save("Gzip", "many-zeros", gzipped(bytes(200_000)))
save("Gzip", "cut", dynamic[:-30])
save("Gzip", "wrong-checksum", dynamic[:-8] + bytes(8))
header = b"\x1f\x8b\x08\x1e" + bytes(6) + b"\2\0ABname\0comment\0"
save("Gzip", "with-every-header-field", header + struct.pack("<H", zlib.crc32(header) & 0xFFFF) + dynamic[10:])
