#!/usr/bin/env python3
"""Writes the seeds of FuzzDecodeLink and its siblings: payloads of the tests' sample frames, whole and in two pieces.

The ways are read from Targets/Families.h; a seed names its way by its place there.
"""
import collections
import pathlib
import re

here = pathlib.Path(__file__).parent
LINKS = {"null": 0, "ieee80211": 105, "linuxSLL": 113, "ieee80211Radio": 127, "linuxSLL2": 276, "unknown": 65535}
FOLDERS = {"name": "Names", "file": "Files"}
SAMPLES_EACH = 3
# What a line means by what was said before: ">" to the server, "<" back.
DIALOGUES = {
    ("tcp", 25, "login"): [b">AUTH LOGIN\r\n", b"<334 VXNlcm5hbWU6\r\n", b">YW5uYQ==\r\n", b"<334 UGFzc3dvcmQ6\r\n",
                           b">bGVtb25z\r\n", b"<235 ok\r\n", b">AUTH PLAIN AGFubmEAbGVtb25z\r\n"],
    ("tcp", 25, "message"): [b">DATA\r\n", b"<354 go\r\n", b">From: a\r\nTo: b\r\nSubject: c\r\n\r\ntea\r\n.", b">\r\nBDAT 9\r\n",
                             b">Subject: ", b">BDAT 3 LAST\r\ntea", b"<250 o", b"<k\r\n"],
    ("tcp", 143, "literals"): [b">a1 FETCH 7 BODY[]\r\n", b"<* 7 FETCH (BODY[] {20}\r\nFrom: a\r\n", b"<Subject: b", b"<)\r\na1 OK\r\n",
                               b">a2 APPEND in {9}\r\n", b"<+ go\r\n", b">To: c\r\n\r\n\r\na3 LOGIN {1+}\r\na {0}\r\n"],
    ("tcp", 110, "message"): [b">CAPA\r\nRETR 1\r\n", b"<+OK\r\nTOP\r\n.\r\n+OK 9\r\nFrom: a\r\n\r", b"<\n.\r", b"<\n",
                              b">AUTH PLAIN\r\n", b"<+ \r\n", b">AGFubmEAbGVtb25z\r\n"],
    ("tcp", 443, "ssl2"): [b">" + bytes.fromhex("801f 01 0300 0006 0000 0010 000004 010080") + bytes(range(16)),
                           b"<" + bytes.fromhex("15 0300 0002 0228")],
    ("tcp", 5900, "agreement"): [
        b"<RFB 003.008\n", b">RFB 003.008\n", b"<\2\2\1", b">\2", b"<" + bytes(range(16)), b">" + bytes(range(16)), b"<\0\0\0\0", b">\1",
        b"<" + bytes.fromhex("04000300 20180001 00ff00ff00ff100800 000000 00000002 6f6b"),
        b">" + bytes.fromhex("02000002 00000010 00000007 0301000000000000000000 040100000000ff0d 050000010001"),
        b"<" + bytes.fromhex("00000004 00000000000400010000000000010203 ffff")],
    ("tcp", 5900, "rectangles"): [
        b"<RFB 003.003\n", b">RFB 003.003\n", b"<\0\0\0\1", b">\1", b"<" + bytes.fromhex("00100010 20180001 00ff00ff00ff100800 000000 00000000"),
        b"<" + bytes.fromhex("00000005 000000000010001000000007 400101aabbccddeeff02789c 0000000000010001ffffff11 0102030480"),
        b"<" + bytes.fromhex("000000000010001000000002 00000001 00000000 00000000 0001000100020002 000000000010001000000010 00000004 0102"),
        b"<" + bytes.fromhex("0304 0000000000100010fffffecc 01000000 00000001 0000000000100008 00000000 03000000 00000002 6f6b 02")],
}


def ways():
    text = (here / "../Targets/Families.h").read_text()
    for family, body in re.findall(r"inline constexpr Way (\w+)Ways\[\] = \{(.*?)\};", text, re.S):
        entries = re.findall(r"way::(\w+)\((?:LinkType::)?(\w+)\)|\{Way::Carrier::(\w+), (\w+)\}", body)
        for place, (kind, number, carrier, other) in enumerate(entries):
            kind, number = kind or carrier, number or other
            value = LINKS[number] if kind == "link" else int(number, 0)
            yield (kind, value), (family, place)


def carried(link, frame):
    """All payloads of a frame with the way that leads to each."""
    if link != 1:
        yield ("link", link if link in LINKS.values() else LINKS["unknown"]), frame
        return
    kind, payload = int.from_bytes(frame[12:14], "big"), frame[14:]
    if kind <= 1500:
        payload = payload[:kind]
        if payload[:2] == b"\xaa\xaa":
            yield ("ciscoSnap", int.from_bytes(payload[6:8], "big")), payload[8:]
        elif payload:
            yield ("llc", payload[0]), payload[3:]
        return
    yield ("ether", kind), payload
    if kind == 0x8137:
        yield ("ipx", int.from_bytes(payload[16:18], "big")), payload[30:]
    if kind == 0x0800:
        protocol, inner = payload[9], payload[payload[0] % 16 * 4:int.from_bytes(payload[2:4], "big")]
        yield ("ip", protocol), inner
    elif kind == 0x86dd:
        protocol, inner = payload[6], payload[40:]
        yield ("ip6", protocol), inner
    else:
        return
    if protocol in (6, 17):
        header = inner[12] // 16 * 4 if protocol == 6 and len(inner) > 12 else 8
        for at in (0, 2):
            yield ("tcp" if protocol == 6 else "udp", int.from_bytes(inner[at:at + 2], "big")), inner[header:]


def frames(*payloads):
    return b"".join(len(payload).to_bytes(2, "big") + payload for payload in payloads)


def dialogue(lines):
    """A seed's frames, of which the highest bit of the length says that they go back."""
    return b"".join((len(line) - 1 | (0x8000 if line[:1] == b"<" else 0)).to_bytes(2, "big") + line[1:] for line in lines)


def main():
    found = collections.defaultdict(set)
    for file in sorted((here / "../../Tests/Golden/Dissection").glob("*.frames")):
        for line in file.read_text().splitlines():
            if line and not line.startswith("#"):
                link, data = line.split()
                for way, payload in carried(int(link), bytes.fromhex(data)):
                    if payload:
                        found[way].add(payload)
    places = collections.defaultdict(list)
    for way, place in ways():
        places[way].append(place)
    for way, payloads in found.items():
        for family, place in places[way]:
            folder = here / f"Decode{FOLDERS.get(family, family.capitalize())}"
            folder.mkdir(exist_ok=True)
            for number, payload in enumerate(sorted(payloads, key=lambda data: (len(data), data))[:SAMPLES_EACH]):
                half = len(payload) // 2
                name = f"{way[0]}-{way[1]}-{number}"
                (folder / name).write_bytes(bytes([place]) + frames(payload))
                if number == 0:
                    (folder / (name + "-pieces")).write_bytes(bytes([place]) + frames(payload[:half], payload[half:]))
    for (kind, number, name), lines in DIALOGUES.items():
        for family, place in places[kind, number]:
            folder = here / f"Decode{FOLDERS.get(family, family.capitalize())}"
            (folder / f"{kind}-{number}-{name}").write_bytes(bytes([place]) + dialogue(lines))


if __name__ == "__main__":
    main()
