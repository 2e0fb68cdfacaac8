"""Writes the answer key from the recordings, and checks it again: every row has a display filter that tshark answers."""
import gzip
import re

from ask import fields_of, frames_of
from rows import FAULTS, FINE_PRINT, MACHINES, OFFICE

LOST = "Frames that passed the switch and never reached Anna (compared with `protocols/loss-far-end.ns.pcap`): "
ROW = re.compile(r"^\| (?P<text>[^|]+) \| `(?P<filter>[^`]+)` \| (?P<frames>[^|]+) \|$")


def spelled(frames):
    """12, 15–20, 33 (8 frames); long lists keep their first ranges and their last."""
    ranges = []
    for number in frames:
        if ranges and number == ranges[-1][1] + 1:
            ranges[-1][1] = number
        else:
            ranges.append([number, number])
    words = [str(a) if a == b else f"{a}–{b}" for a, b in ranges]
    if len(words) > 12:
        words = [*words[:10], "…", words[-1]]
    return f"{', '.join(words)} ({len(frames)})" if frames else "none"


def table(path, rows, scenes, complaints):
    """Rows of (what, filter, how many frames): a number, or None for at least one. {scene} stands for a scene's frames."""
    filters = [filter.format_map(scenes) for _, filter, _ in rows]
    lines = ["| What happens | Display filter | Frames |", "| --- | --- | --- |"]
    for (text, _, expected), expression, frames in zip(rows, filters, frames_of(path, filters)):
        if not frames if expected is None else len(frames) != expected:
            complaints.append(f"{path.name}: {text}: {len(frames)} frames, expected {expected or 'some'} ({expression})")
        lines.append(f"| {text} | `{expression}` | {spelled(frames)} |")
    return lines


def spans(path, scenes):
    """Where each scene lies in a file, from the clock."""
    times = [(int(number), float(time)) for number, time in fields_of(path, "frame.number", "frame.time_epoch")]
    found = {}
    for scene in scenes:
        if "begin" not in scene:
            continue
        inside = [n for n, t in times if scene["begin"] - 0.05 <= t <= scene["end"] + 0.3]
        if inside:
            found[scene["scene"]] = (inside[0], inside[-1])
    return found


class Window(dict):
    def __missing__(self, scene):
        raise RuntimeError(f"no frames of scene {scene!r}")


def windows(found):
    return Window({name: f"frame.number >= {first} and frame.number <= {last}" for name, (first, last) in found.items()})


def hosts(path, notes):
    """Every machine as it says it is, and the first frame in the tour that carries its MAC and one of its addresses."""
    first = {}
    for number, mac, *addresses in fields_of(path, "frame.number", "eth.src", "ip.src", "ipv6.src", "arp.src.proto_ipv4"):
        for address in filter(None, addresses):
            first.setdefault((mac, address), int(number))
    lines = ["| Machine | Role | Port, MAC | Addresses | First frame from it |", "| --- | --- | --- | --- | --- |"]
    for host in notes["hosts"]:
        for port in host["ports"]:
            seen = [first[key] for address in port["addresses"] if (key := (port["mac"], address)) in first]
            lines.append(f"| {host['name']} | {host['role']} | {port['port']}, {port['mac']} | {', '.join(port['addresses'])} | "
                         f"{min(seen) if seen else 'not seen'} |")
    return lines


def lost_on_the_way(folder, window):
    """Frames for Anna that passed the switch and are missing from the recording at her end of the cable."""
    identity = ("ip.id", "tcp.seq_raw", "frame.len")
    arrived = {tuple(row) for row in fields_of(folder / "protocols" / "loss-far-end.ns.pcap", *identity)}
    sent = fields_of(folder / "trouble.pcapng", "frame.number", *identity, only=f"{window} and tcp.srcport == 80 and ip.dst == 10.20.1.101")
    return spelled([int(number) for number, *who in sent if tuple(who) not in arrived])


def write(folder, notes):
    complaints = []
    office, trouble = folder / "office.pcapng", folder / "trouble.pcapng"
    text = [FINE_PRINT.strip(), ""]
    text += ["## The machines", "", MACHINES.strip(), "", *hosts(office, notes), ""]
    text += ["## `office.pcapng`", ""]
    found = spans(office, notes["scenes"])
    text += ["| Scene | Frames |", "| --- | --- |"] + [f"| {name} | {a}–{b} |" for name, (a, b) in found.items()] + [""]
    text += table(office, OFFICE, windows(found), complaints) + [""]
    text += ["## `trouble.pcapng`", ""]
    found = spans(trouble, notes["scenes"])
    text += ["| Scene | Frames |", "| --- | --- |"] + [f"| {name} | {a}–{b} |" for name, (a, b) in found.items()] + [""]
    text += table(trouble, FAULTS, windows(found), complaints) + [""]
    lost = lost_on_the_way(folder, windows(found)["loss"])
    text += [f"{LOST}{lost}.", ""]
    dropped = next((re.search(r"dropped (\d+)", n["counters"])[1] for n in notes["scenes"] if n.get("impairment") == "loss"), "?")
    if not lost.endswith(f"({dropped})"):
        complaints.append(f"trouble.pcapng: the queue dropped {dropped} frames, the two ends differ by {lost}")
    impairments = [n for n in notes["scenes"] if "impairment" in n]
    text += ["### What the cables did", "", "The impairing queue's own counters, read when each scene ended.", "",
             "| Scene | Where | netem | Counters |", "| --- | --- | --- | --- |"]
    text += [f"| {n['impairment']} | {n['where']} | {n['netem']} | {' '.join(n['counters'].split())} |" for n in impairments]
    text += ["", "## `protocols/`", "", "| File | Format | Frames |", "| --- | --- | --- |"]
    for path in sorted((folder / "protocols").iterdir()):
        row, complaint = inspected(path)
        text.append(f"| {path.name} | {row} |")
        complaints += complaint
    for path in (office, trouble):
        complaints += inspected(path)[1]
    (folder / "README.md").write_text("\n".join(text) + "\n")
    return complaints


def inspected(path):
    """A file's format and number of frames, and a complaint if tshark finds a packet that breaks its protocol's rules; in the
    file that is cut short on purpose it may. What tshark says about reassembling resent TCP data is no such thing."""
    everything, bad = frames_of(path, ["frame", "(_ws.malformed and not _ws.malformed.reassembly) or _ws.short"])
    complaint = [f"{path.name}: malformed or cut frames {spelled(bad)}"] if bad and ".snap" not in path.name else []
    return f"{form(path)} | {len(everything)}", complaint


def form(path):
    content = gzip.open(path).read() if path.name.endswith(".gz") else path.read_bytes()
    kind = {"d4c3b2a1": "pcap, microseconds", "4d3cb2a1": "pcap, nanoseconds", "a1b2c3d4": "pcap, microseconds, big-endian",
            "a1b23c4d": "pcap, nanoseconds, big-endian", "0a0d0d0a": "pcapng"}[content[:4].hex()]
    if kind.startswith("pcap,"):
        link = int.from_bytes(content[20:24], "big" if "big" in kind else "little")
        kind += {1: "", 276: ", Linux cooked v2"}.get(link, f", link type {link}")
    return kind + (", gzip" if path.name.endswith(".gz") else "")


def verify(folder):
    """Asks tshark again for every row. Says each that differs; the exit status tells whether any did."""
    path, wrong, checked, rows, window = None, [], 0, [], "frame"
    for line in (folder / "README.md").read_text().splitlines():
        if line.startswith("## "):
            name = re.search(r"`([^`]+)`", line)
            path = folder / name[1] if name and (folder / name[1]).is_file() else None
        elif row := re.match(r"^\| loss \| (\d+)–(\d+) \|$", line):
            window = f"frame.number >= {row[1]} and frame.number <= {row[2]}"
        elif line.startswith(LOST):
            checked += 1
            if (now := lost_on_the_way(folder, window)) + "." != line.removeprefix(LOST):
                wrong.append(f"trouble.pcapng: lost frames: the key says {line.removeprefix(LOST)} the two ends say {now}")
        elif path and (row := ROW.match(line)):
            rows.append((path, row))
        elif (row := re.match(r"^\| (\S+) \| (pcap[^|]*) \| (\d+) \|$", line)):
            checked += 1
            now, complaint = inspected(folder / "protocols" / row[1])
            wrong += complaint
            if now != f"{row[2]} | {row[3]}":
                wrong.append(f"{row[1]}: the key says {row[2]} with {row[3]} frames, it has {now}")
    answers = []
    for file in dict.fromkeys(file for file, _ in rows):
        answers += [spelled(frames) for frames in frames_of(file, [row["filter"] for path, row in rows if path == file])]
    for (file, row), now in zip(rows, answers):
        checked += 1
        if now != row["frames"].strip():
            wrong.append(f"{file.name}: {row['text']}: the key says {row['frames']}, tshark says {now}")
    for name in ("office.pcapng", "trouble.pcapng"):
        wrong += inspected(folder / name)[1]
    for sentence in wrong:
        print("record:", sentence)
    print(f"record: {checked} rows checked, {len(wrong)} wrong")
    return 1 if wrong or not checked else 0
