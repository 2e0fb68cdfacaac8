#!/usr/bin/env python3
"""Writes the seeds of the Classify and Aggregate targets: one small frame for each way through the classifier, and
captures of a few TCP, UDP and DNS exchanges. Run from anywhere; it overwrites the files it names."""
import pathlib
import struct

here = pathlib.Path(__file__).resolve().parent
macs = bytes.fromhex("020000000002020000000001")


def ipv4(protocol, payload, source="0a000001", destination="0a000002", ident=1, fragment=0):
    return struct.pack(">BBHHHBBH", 0x45, 0, 20 + len(payload), ident, fragment, 64, protocol, 0) + bytes.fromhex(
        source + destination) + payload


def ipv6(next_header, payload):
    return struct.pack(">IHBB", 0x60000000, len(payload), next_header, 64) + bytes.fromhex(
        "20010db8" + "00" * 11 + "01" + "20010db8" + "00" * 11 + "02") + payload


def tcp(seq, ack, flags, payload=b"", source=51000, destination=80, options=b""):
    return struct.pack(">HHIIBBHHH", source, destination, seq, ack, (20 + len(options)) // 4 << 4, flags, 1000, 0,
                       0) + options + payload


def udp(payload, source=51000, destination=53):
    return struct.pack(">HHHH", source, destination, 8 + len(payload), 0) + payload


def ethernet(kind, payload, tags=b""):
    return macs + tags + struct.pack(">H", kind) + payload


def llc(payload):
    return ethernet(len(payload), payload)


syn_options = bytes.fromhex("020405b40402080a0000000100000000" + "01030307")
ipx = bytes.fromhex("ffff001e000000000001ffffffffffff04520000000200a0ccd0a1b24003")
arp = bytes.fromhex("00010800060400010200000000010a0000010000000000000a000002")
answer = bytes.fromhex("1234818000010001000000000377777707" + "6578616d706c65" + "0000010001" +
                       "c00c000100010000003c00040a000002")
frames = {
    "tcp": (0, ethernet(0x0800, ipv4(6, tcp(1, 1, 0x18, b"GET / HTTP/1.1")))),
    "tcp-syn": (0, ethernet(0x0800, ipv4(6, tcp(1, 0, 2, options=syn_options)))),
    "tcp-over-ipv6": (0, ethernet(0x86DD, ipv6(6, tcp(1, 1, 0x10, b"x")))),
    "udp": (0, ethernet(0x0800, ipv4(17, udp(answer, 53, 51000)))),
    "fragment": (0, ethernet(0x0800, ipv4(17, b"12345678", fragment=185))),
    "extension-headers": (0, ethernet(0x86DD, ipv6(0, bytes.fromhex("3c00000000000000" + "2c00000000000000" +
                                                                     "0600000100000001") + tcp(1, 1, 0x10)))),
    "vlan": (0, ethernet(0x0800, ipv4(6, tcp(1, 1, 0x10)), bytes.fromhex("88a8000181000002"))),
    "arp": (0, ethernet(0x0806, arp)),
    "ipx": (0, ethernet(0x8137, ipx)),
    "ipx-raw": (0, llc(ipx)),
    "stp": (0, llc(bytes.fromhex("42420300000000"))),
    "nbf": (0, llc(bytes.fromhex("f0f0032c00ffef08"))),
    "snap": (0, llc(bytes.fromhex("aaaa030000000800") + ipv4(6, tcp(1, 1, 0x10)))),
    "raw": (1, ipv4(6, tcp(1, 1, 0x10))),
    "cooked": (2, bytes.fromhex("00000001000602000000000100000800") + ipv4(6, tcp(1, 1, 0x10))),
    "cooked2": (3, bytes.fromhex("86dd00000000000300010006020000000001" + "0000") + ipv6(17, udp(b"q"))),
}
for name, (link, frame) in frames.items():
    folder = here / "Classify"
    folder.mkdir(exist_ok=True)
    (folder / name).write_bytes(bytes([link]) + frame)


def capture(name, exchange):
    folder = here / "Aggregate"
    folder.mkdir(exist_ok=True)
    data = b"".join(
        struct.pack("<IIII", 1, i * 1000, len(f), len(f)) + f for i, f in enumerate(exchange))
    (folder / name).write_bytes(data)


def there(segment, ident=1):
    return ethernet(0x0800, ipv4(6, segment, ident=ident))


def back(segment):
    return ethernet(0x0800, ipv4(6, segment, "0a000002", "0a000001"))


capture("handshake", [
    there(tcp(1, 0, 2, options=syn_options)),
    back(tcp(9, 2, 0x12, b"", 80, 51000, syn_options)),
    there(tcp(2, 10, 0x18, b"GET /")),
    there(tcp(2, 10, 0x18, b"GET /"), ident=2),
    back(tcp(10, 7, 0x11, b"200", 80, 51000)),
    there(tcp(7, 14, 0x14)),
])
capture("names", [ethernet(0x0800, ipv4(17, udp(answer, 53, 51000))), there(tcp(1, 0, 2))])
capture("mixed", [frame for _, frame in frames.values()])


# The Expert target: a few thresholds, then frames of the recorded bad day, so that each scan has been entered once.
def blocks(path):
    data = path.read_bytes()
    at = 0
    while at + 12 <= len(data):
        kind, length = struct.unpack_from("<II", data, at)
        if kind == 6:
            captured = struct.unpack_from("<I", data, at + 20)[0]
            yield data[at + 28:at + 28 + captured]
        at += length


recorded = list(blocks(here.parent.parent / "Samples" / "trouble.pcapng"))
scenes = {
    "loss": (105, 60), "window": (1130, 50), "names": (1580, 50), "owners": (1634, 54), "loop": (1688, 44),
    "scan": (1880, 60), "lease": (2288, 59), "pages": (2350, 60), "certificates": (2425, 45), "logins": (2490, 60),
    "fragments": (3915, 40), "routers": (3965, 60), "bridges": (4040, 50),
}
(here / "Expert").mkdir(exist_ok=True)
for name, (first, count) in scenes.items():
    frames_of_scene = recorded[first - 1:first - 1 + count]
    thresholds = bytes([4, 1, 0, 30, 128])
    (here / "Expert" / name).write_bytes(thresholds + b"".join(
        struct.pack("<IIII", 1 + i // 10, i % 10 * 100_000, len(f), len(f)) + f for i, f in enumerate(frames_of_scene)))
