"""Capture files read and written: classic pcap, pcapng with several interfaces; plain or gzipped."""
import gzip
import struct
from dataclasses import dataclass


@dataclass
class Interface:
    name: str
    description: str
    link_type: int
    filter: str = ""


@dataclass
class Frame:
    time: int  # nanoseconds since 1970
    data: bytes
    length: int  # on the wire
    interface: int = 0


def read_pcap(path):
    """What tcpdump wrote: a classic file in nanoseconds, in this machine's byte order."""
    content = open(path, "rb").read()
    magic, _, _, _, _, _, link_type = struct.unpack_from("=IHHiIII", content)
    if magic != 0xA1B23C4D:
        raise ValueError(f"{path}: not a nanosecond capture")
    frames, at = [], 24
    while at + 16 <= len(content):
        seconds, nanoseconds, captured, length = struct.unpack_from("=IIII", content, at)
        frames.append(Frame(seconds * 10**9 + nanoseconds, content[at + 16 : at + 16 + captured], length))
        at += 16 + captured
    return link_type & 0xFFFF, frames


def save(path, content):
    if str(path).endswith(".gz"):
        content = gzip.compress(content, 9, mtime=0)
    with open(path, "wb") as file:
        file.write(content)


def write_pcap(path, link_type, frames, nanoseconds=False, big_endian=False, snap=262144):
    order = ">" if big_endian else "<"
    parts = [struct.pack(order + "IHHiIII", 0xA1B23C4D if nanoseconds else 0xA1B2C3D4, 2, 4, 0, 0, snap, link_type)]
    for frame in frames:
        seconds, rest = divmod(frame.time, 10**9)
        data = frame.data[:snap]
        parts.append(
            struct.pack(order + "IIII", seconds, rest if nanoseconds else rest // 1000, len(data), frame.length)
        )
        parts.append(data)
    save(path, b"".join(parts))


def option(code, value):
    value = value if isinstance(value, bytes) else value.encode()
    return struct.pack("<HH", code, len(value)) + value + b"\0" * (-len(value) % 4)


def block(kind, body):
    size = 12 + len(body)
    return struct.pack("<II", kind, size) + body + struct.pack("<I", size)


def write_pcapng(path, interfaces, frames, comment):
    """Times are in microseconds, the resolution that every reader takes for granted."""
    end = option(0, "")
    section = struct.pack("<IHHq", 0x1A2B3C4D, 1, 0, -1)
    parts = [block(0x0A0D0D0A, section + option(1, comment) + option(4, "Samples/record") + end)]
    for interface in interfaces:
        options = option(2, interface.name) + option(3, interface.description) + option(9, b"\x06")
        if interface.filter:
            options += option(11, b"\0" + interface.filter.encode())
        parts.append(block(1, struct.pack("<HHI", interface.link_type, 0, 262144) + options + end))
    last, count = {}, {}
    for frame in frames:
        time = frame.time // 1000
        head = struct.pack("<IIIII", frame.interface, time >> 32, time & 0xFFFFFFFF, len(frame.data), frame.length)
        parts.append(block(6, head + frame.data + b"\0" * (-len(frame.data) % 4)))
        last[frame.interface] = time
        count[frame.interface] = count.get(frame.interface, 0) + 1
    for interface, time in sorted(last.items()):
        head = struct.pack("<III", interface, time >> 32, time & 0xFFFFFFFF)
        seen, dropped = struct.pack("<Q", count[interface]), struct.pack("<Q", 0)
        parts.append(block(5, head + option(4, seen) + option(5, dropped) + end))
    save(path, b"".join(parts))
