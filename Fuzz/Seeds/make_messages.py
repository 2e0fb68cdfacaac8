#!/usr/bin/env python3
"""Writes the seeds of FuzzTcpOptions and FuzzHostNames into the folders beside this file."""
import pathlib
import struct

here = pathlib.Path(__file__).parent


def write(target, name, content):
    (here / target).mkdir(exist_ok=True)
    (here / target / name).write_bytes(content)


for name, text in {
    "handshake": "020405b4 0402 080a 00010002 00030004 01 030307",
    "sack-blocks": "0101 0512 00000001 00000002 00000003 00000004 0000",
    "fast-open-and-multipath": "2202 1e0c 00811122334455667788",
    "md5": "0101 1312 00112233445566778899aabbccddeeff",
    "length-zero": "020405b4 0300",
    "length-past-the-end": "020405b4 080a 0000",
}.items():
    write("TcpOptions", name, bytes.fromhex(text))


def labels(name):
    return b"".join(bytes([len(label)]) + label for label in name.encode().split(b".") if label) + b"\0"


def record(owner, kind, data, record_class=1):
    owner = owner if isinstance(owner, bytes) else labels(owner)
    return owner + struct.pack(">HHIH", kind, record_class, 120, len(data)) + data


def message(flags, questions=(), answers=(), additional=()):
    header = struct.pack(">HHHHHH", 1, flags, len(questions), len(answers), 0, len(additional))
    asked = b"".join(labels(name) + struct.pack(">HH", kind, 1) for name, kind in questions)
    return header + asked + b"".join(answers) + b"".join(additional)


def netbios(name, purpose):
    sixteen = name.encode().ljust(15) + bytes([purpose])
    return "".join(chr(65 + (byte >> 4)) + chr(65 + (byte & 15)) for byte in sixteen)


def dhcp(operation, client, your, options):
    header = bytes([operation, 1, 6, 0]) + bytes.fromhex("12345678") + bytes(4) + bytes(client) + bytes(your)
    return header + bytes(8) + bytes.fromhex("02000000000c") + bytes(202) + bytes.fromhex("63825363" + options)


A, CNAME, PTR, AAAA, NB, NBSTAT = 1, 5, 12, 28, 0x20, 0x21
question = bytes.fromhex("c00c")  # a pointer to the name in the first question
host = bytes([192, 0, 2, 1])
six = "7" + ".0" * 23 + ".8.b.d.0.1.0.0.2.ip6.arpa"
aliases = message(
    0x8180, [("www.example.com", A)], [record(question, CNAME, labels("edge.cdn.example")), record("edge.cdn.example", A, host)]
)
reverse = message(0x8180, [("4.2.0.192.in-addr.arpa", PTR)], [record(question, PTR, labels("host4.example"))])
link_local = bytes.fromhex("fe80") + bytes(13) + b"\x09"
names = b"WORKGROUP".ljust(15) + bytes.fromhex("008400") + b"BOX".ljust(15) + bytes.fromhex("000400")

# The first byte chooses the service: DNS over UDP and TCP, multicast DNS, LLMNR, NetBIOS, DHCP.
for service, name, content in [
    (0, "aliases", aliases),
    (0, "reverse-ipv4", reverse),
    (0, "reverse-ipv6", message(0x8180, [(six, PTR)], [record(question, PTR, labels("host6.example"))])),
    (0, "pointer-loop", message(0x8180, [], [record(question, A, host)])),
    (
        0,
        "pointers-in-steps",
        message(
            0x8180,
            [("a.b.c", A)],
            [record(bytes.fromhex("0178c00c"), A, host), record(bytes.fromhex("0179c015"), AAAA, bytes(16))],
        ),
    ),
    (1, "two-messages-over-tcp", b"".join(struct.pack(">H", len(one)) + one for one in (aliases, reverse))),
    (
        2,
        "multicast",
        message(
            0x8400,
            [],
            [record("_ipp._tcp.local", PTR, labels("Printer._ipp._tcp.local"))],
            [record("Printer.local", A, host, 0x8001), record("Printer.local", AAAA, link_local, 0x8001)],
        ),
    ),
    (3, "link-local", message(0x8000, [("NAS", A)], [record("NAS", A, host)])),
    (
        4,
        "netbios-registration",
        message(0x2910, [(netbios("FILESRV", 0x20), NB)], [], [record(question, NB, bytes.fromhex("0000c0a80107"))]),
    ),
    (
        4,
        "netbios-answer",
        message(0x8500, [], [record(netbios("TWO HOMES", 0), NB, bytes.fromhex("6000c0a801016000c0a80201"))]),
    ),
    (4, "netbios-status", message(0x8400, [], [record(netbios("*", 0), NBSTAT, b"\x02" + names + bytes(46))])),
    (5, "dhcp-request", dhcp(1, [0] * 4, [0] * 4, "350103 0c06 6c6170746f70 ff")),
    (5, "dhcp-acknowledgement", dhcp(2, [0] * 4, [10, 0, 0, 33], "350105 0c03 706331 ff")),
    (
        5,
        "dhcp-qualified-name",
        dhcp(1, [10, 0, 0, 33], [0] * 4, "350103 5110 040000 03706331 07 6578616d706c65 00 ff"),
    ),
]:
    write("HostNames", name, bytes([service]) + content)
