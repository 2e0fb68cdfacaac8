#!/usr/bin/env python3
"""Holds the events that the TCP tracker marks against tshark's own analysis, frame by frame.

usage: compare_findings.py NETRONDO CAPTURE_OR_FOLDER...

For every event that both define it counts the frames that both mark, and those that only one does, and sorts the latter
by what can be seen of them: why the two rules differ. It ends with 1 when frames are left that no reason explains.
"""
import collections
import pathlib
import subprocess
import sys

# Ours on the left, as filters; tshark's on the right, as fields.
EVENTS = {
    "sent again": (["tcp.analysis.retransmission", "tcp.analysis.spurious_retransmission", "tcp.analysis.duplicate_ack"],
                   ["retransmission", "fast_retransmission", "spurious_retransmission", "out_of_order"]),
    "acknowledged unseen": (["tcp.analysis.ack_lost_segment"], ["ack_lost_segment"]),
    "zero window": (["tcp.analysis.zero_window"], ["zero_window"]),
}
FLAGS = ["retransmission", "fast_retransmission", "spurious_retransmission", "out_of_order", "lost_segment",
         "ack_lost_segment", "zero_window", "zero_window_probe", "keep_alive", "duplicate_ack", "reused_ports"]
COLUMNS = ["frame.number", "tcp.len", "tcp.flags", "ip.id", "tcp.stream", "tcp.seq_raw", "frame.protocols", "tcp.srcport"]


def tshark(path):
    command = ["tshark", "-n", "-r", str(path), "-Y", "tcp", "-T", "fields", "-E", "separator=;", "-E", "occurrence=f"]
    for field in COLUMNS + ["tcp.analysis." + flag for flag in FLAGS]:
        command += ["-e", field]
    frames = {}
    for line in subprocess.run(command, capture_output=True, text=True, errors="replace").stdout.splitlines():
        values = line.split(";")
        if len(values) < len(COLUMNS) + len(FLAGS):
            continue
        row = dict(zip(COLUMNS, values))
        row["marks"] = {flag for flag, value in zip(FLAGS, values[len(COLUMNS):]) if value}
        frames[int(row["frame.number"])] = row
    return frames


def ours(netrondo, path, filters):
    command = [netrondo, "decode", str(path), "--filter", " or ".join(filters)]
    lines = subprocess.run(command, capture_output=True, text=True, errors="replace").stdout.splitlines()
    return {int(line.split()[0]) for line in lines if line.split() and line.split()[0].isdigit()}


def explain(event, isOurs, row, earlier):
    """Why only one of the two marks a frame; nothing where it is not known."""
    flags = int(row["tcp.flags"] or "0", 16)
    length = int(row["tcp.len"] or 0)
    key = (row["tcp.stream"], row["tcp.srcport"], row["tcp.seq_raw"])
    if event == "sent again":
        if isOurs:
            if flags & 2:
                return "a SYN again: there the ports are called used again, or it comes after the answer"
            if "keep_alive" in row["marks"] or "zero_window_probe" in row["marks"]:
                return "a probe of one byte, once the window or the time is behind it"
            if any(i == row["ip.id"] for i, _ in earlier.get(key, [])):
                return "the very same packet again, by its IP identification"
            if earlier.get(key):
                return "the same sequence number again with fresh bytes or after a gap: there it is new data"
            return "wholly acknowledged before: there the capture missed it" if length or flags & 1 else None
        if length == 0:
            return "a FIN again: only data and SYN are looked at here"
        if "out_of_order" in row["marks"]:
            return "fills a hole: overtaken or sent again, its first copy never passed (tcp.ooo, tcp.fastretx, tcp.rto)"
        if not earlier.get(key):
            return "its first copy never passed, or began elsewhere: told as tcp.fastretx or tcp.rto"
        return "more than 64 segments, or 4 GB, behind: no longer remembered"
    if event == "acknowledged unseen":
        return ("the hole is told once there, for each acknowledgment here" if isOurs
                else "nothing of the other direction was seen: here it takes some to know what is missing")
    if event == "zero window":
        return "on a SYN: a window is one wherever it stands" if isOurs and flags & 2 else None
    return None


def main():
    netrondo, *places = sys.argv[1:]
    files = []
    for place in map(pathlib.Path, places):
        files += sorted(p for p in place.rglob("*") if p.is_file()) if place.is_dir() else [place]
    both, reasons, unexplained, read = collections.Counter(), collections.Counter(), [], 0
    for path in files:
        frames = tshark(path)
        if not frames:
            continue
        read += 1
        # Headers inside other headers, and what this program does not follow, have no counterpart.
        plain = {n for n, row in frames.items() if row["frame.protocols"].count("tcp") == 1
                 and row["frame.protocols"].count(":ip") == 1 and "icmp" not in row["frame.protocols"]}
        earlier = {}
        marked = {event: ours(netrondo, path, filters) for event, (filters, _) in EVENTS.items()}
        for number in sorted(frames):
            row = frames[number]
            if number in plain:
                for event, (_, flags) in EVENTS.items():
                    here, there = number in marked[event], bool(row["marks"] & set(flags))
                    if here and there:
                        both[event] += 1
                    elif here or there:
                        reason = explain(event, here, row, earlier)
                        if reason:
                            reasons[event, "only here" if here else "only there", reason] += 1
                        else:
                            unexplained.append(f"{path}: frame {number}: {event} only {'here' if here else 'there'}")
            key = (row["tcp.stream"], row["tcp.srcport"], row["tcp.seq_raw"])
            if int(row["tcp.len"] or 0) or int(row["tcp.flags"] or "0", 16) & 3:
                earlier.setdefault(key, []).append((row["ip.id"], row["tcp.len"]))
    print(f"{read} captures with TCP")
    for event in EVENTS:
        print(f"{event}: {both[event]} frames marked by both")
        for (which, side, reason), count in sorted(reasons.items()):
            if which == event:
                print(f"  {count:6} {side}: {reason}")
    for line in unexplained:
        print("not explained:", line)
    return 1 if unexplained else 0


sys.exit(main())
