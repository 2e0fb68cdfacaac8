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
COLUMNS = ["frame.number", "tcp.len", "tcp.flags", "ip.id", "tcp.stream", "tcp.seq_raw", "tcp.ack_raw", "frame.protocols",
           "tcp.srcport", "tcp.dstport", "ip.src", "ip.dst", "ipv6.src", "ipv6.dst", "frame.len", "frame.cap_len"]


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


def number(text):
    return int(text or "0", 0)


class Seen:
    """What a capture has shown before a frame: what each direction of a connection sent, by tshark's stream and in all."""

    def __init__(self):
        self.pieces = collections.defaultdict(list)  # of a direction: sequence number, length, identification, in a tunnel
        self.streams = collections.defaultdict(set)  # of two ends, whatever the connection
        self.cut = set()  # directions of which some frame was cut

    def ends(self, row):
        sides = [(row["ip.src"] or row["ipv6.src"], row["tcp.srcport"]), (row["ip.dst"] or row["ipv6.dst"], row["tcp.dstport"])]
        return tuple(sorted(sides))

    def add(self, row, isPlain):
        me = (row["tcp.stream"], row["tcp.srcport"])
        self.streams[self.ends(row)].add(row["tcp.stream"])
        if number(row["frame.cap_len"]) < number(row["frame.len"]):
            self.cut.add(me)
        flags, length = number(row["tcp.flags"]), number(row["tcp.len"])
        if length or flags & 3:
            length += bool(flags & 1) + bool(flags & 2)
            self.pieces[me].append((number(row["tcp.seq_raw"]), length, row["ip.id"], not isPlain))

    def usedBefore(self, row):
        return bool(self.streams[self.ends(row)] - {row["tcp.stream"]})

    def mine(self, row):
        return self.pieces[row["tcp.stream"], row["tcp.srcport"]]

    def others(self, row):
        return row["tcp.stream"], row["tcp.dstport"]


def explain(event, isOurs, row, seen, isRead):
    """Why only one of the two marks a frame; nothing where it is not known."""
    flags, length, seq = number(row["tcp.flags"]), number(row["tcp.len"]), number(row["tcp.seq_raw"])
    if not isRead:
        return "of a link or a format that is not followed here (802.11, NULL with a family header, what needs another library)"
    if event == "sent again":
        same = [piece for piece in seen.mine(row) if piece[0] == seq]
        if isOurs:
            if seen.usedBefore(row):
                return "the ports were used before: the tracker goes on with the old connection's numbers, there they begin anew"
            if "keep_alive" in row["marks"] and same:
                return "one byte again, which there could be a keep-alive; here nothing was acknowledged that it could probe"
            if any(piece[2] == row["ip.id"] for piece in same):
                return "the very same packet again, by its IP identification"
            return None
        if length == 0:
            return "a FIN again: without data it is not looked at here"
        if "keep_alive" in row["marks"] or (length == 1 and any(begin + size == seq + 1 for begin, size, _, _ in seen.mine(row))):
            return "a probe of one byte: not looked at here"
        if same and all(piece[3] for piece in same):
            return "its first copy passed in a tunnel, which is not followed here"
        if "out_of_order" in row["marks"]:
            return "fills a hole: overtaken, or its first copy never passed (tcp.ooo, tcp.fastretx, tcp.rto)"
        if not same:
            overlaps = any((seq - begin) & 0xFFFFFFFF < size or (begin - seq) & 0xFFFFFFFF < length
                           for begin, size, _, _ in seen.mine(row))
            return ("in other pieces than the first time: only the same first byte is the same segment here" if overlaps
                    else "fills a hole: its first copy never passed (tcp.fastretx, tcp.rto)")
        return None
    if event == "acknowledged unseen":
        if isOurs:
            return ("what was cut off by the snap length counts as not seen here" if seen.others(row) in seen.cut
                    else "a hole is told once there, for each acknowledgment here")
        ends = [(begin + size) & 0xFFFFFFFF for begin, size, _, _ in seen.pieces[seen.others(row)]]
        acknowledged = number(row["tcp.ack_raw"])
        if not ends:
            return "nothing of the other direction was seen: here it takes some to know what is missing"
        if any((end - acknowledged) & 0xFFFFFFFF < 0x80000000 for end in ends):
            return "what it acknowledges was seen, behind a hole: here only what lies beyond everything seen counts"
        return None
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
        seen = Seen()
        links = ("eth:", "sll:", "raw:")
        followed = ours(netrondo, path, ["tcp"]) & {n for n, row in frames.items() if row["frame.protocols"].startswith(links)}
        marked = {event: ours(netrondo, path, filters) for event, (filters, _) in EVENTS.items()}
        for frame in sorted(frames):
            row = frames[frame]
            if frame in plain:
                for event, (_, flags) in EVENTS.items():
                    here, there = frame in marked[event], bool(row["marks"] & set(flags))
                    if here and there:
                        both[event] += 1
                    elif here or there:
                        reason = explain(event, here, row, seen, frame in followed)
                        if reason:
                            reasons[event, "only here" if here else "only there", reason] += 1
                        else:
                            unexplained.append(f"{path}: frame {frame}: {event} only {'here' if here else 'there'}")
            seen.add(row, frame in plain)
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
