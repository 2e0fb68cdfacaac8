#!/usr/bin/env python3
"""Collects short frames of every protocol from a folder of captures into `<protocol>.frames` beside this script.

Usage: collect_frames.py NETRONDO FOLDER
"""
import collections
import json
import pathlib
import subprocess
import sys

LINKS = {"null": 0, "ethernet": 1, "raw": 12, "ieee80211": 105, "linuxSLL": 113, "ieee80211Radio": 127, "linuxSLL2": 276}
MANY = {"tls", "dns", "icmp", "icmpv6", "tcp", "http", "dhcp", "smb"}
ROOM = {"tls": 1500, "quic": 1400, "kerberos": 700, "dhcp": 600, "http": 700}


def lines(program, *arguments):
    return subprocess.run([program, *arguments], capture_output=True).stdout.splitlines()


def main():
    program, folder = sys.argv[1:]
    found = collections.defaultdict(dict)
    for capture in sorted(path for path in pathlib.Path(folder).rglob("*") if path.is_file()):
        if "malformed" in capture.parts:
            continue
        raw = lines(program, "frames", str(capture))
        decoded = lines(program, "decode", str(capture), "--json")
        for frame, tree in zip(map(json.loads, raw), map(json.loads, decoded)):
            size = len(frame["data"]) // 2
            stack = [node["id"] for node in tree["tree"] if node["id"] not in ("data", "padding", "frame")]
            if not stack or frame["linkType"] not in LINKS or frame["originalLength"] != size:
                continue
            kind = " ".join(word for word in tree["info"].split()[:3] if not any(c.isdigit() for c in word))
            for layer in set(stack[-2:]):
                if size > ROOM.get(layer, ROOM.get(stack[-1], 400)):
                    continue
                key = (kind, layer == stack[-1])
                best = found[layer].get(key)
                if best is None or size < best[0]:
                    found[layer][key] = (size, LINKS[frame["linkType"]], frame["data"])
    here = pathlib.Path(__file__).parent
    taken = set()
    for layer, frames in sorted(found.items()):
        new = [entry for entry in sorted(frames.values()) if entry[2] not in taken]
        chosen = new[: 10 if layer in MANY else 4] or sorted(frames.values())[:1]
        taken |= {data for _, _, data in chosen}
        with open(here / f"{layer}.frames", "w") as out:
            for _, link, data in chosen:
                out.write(f"{link} {data}\n")


if __name__ == "__main__":
    main()
