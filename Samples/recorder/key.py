"""Writes the answer key from the recordings, and checks it: every row has a display filter that tshark answers."""
import gzip
import re

from ask import fields_of, frames_of
from cut import PROTOCOLS
from rows import FAULTS, FINE_PRINT, MACHINES, OFFICE

LOST = "Frames that passed the switch and never reached Anna (compared with `protocols/loss-far-end.ns.pcap`): "
WHERE = {
    "office": "switch sw1, mirror of all ports",
    "uplink2": "switch sw1, spare uplink",
    "voice": "trunk between sw3 and sw4",
    "lab6": "switch sw6, mirror of all ports",
    "wan": "router 1, towards the provider",
    "gw1-vlan": "router 1, tagged port",
    "any": "router 1, all ports at once",
    "anna": "Anna's PC",
    "bench": "the test bench",
}
OVERTAKEN = "Segments overtaken on the way {} (their IP identification is lower than one before): "
# Where packets overtake each other: the scene, whom they are for, and the flow. What a delay varies by is enough for it.
WAYS = (
    ("reordering", "to Carla", "10.20.1.11", "10.20.1.103", 80),
    ("delay", "from the terminal server to Bruno", "10.20.1.17", "10.20.1.102", 8081),
    ("delay", "from the terminal server to the web server", "10.20.1.17", "10.20.1.11", 8081),
)
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
    """Rows of (what, filter, how many frames, None for some). A scene in braces stands for its frames."""
    filters = [filter.format_map(scenes) for _, filter, _ in rows]
    lines = ["| What happens | Display filter | Frames |", "| --- | --- | --- |"]
    for (text, _, expected), expression, frames in zip(rows, filters, frames_of(path, filters)):
        if not frames if expected is None else len(frames) != expected:
            complaints.append(
                f"{path.name}: {text}: {len(frames)} frames, expected {expected or 'some'} ({expression})"
            )
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
    return Window(
        {name: f"frame.number >= {first} and frame.number <= {last}" for name, (first, last) in found.items()}
    )


def hosts(path, notes):
    """Every machine as it says it is, and the first frame of the tour from its port: one with the port's MAC and one of its
    addresses, or for a machine behind a router one with the address alone, or for a bare switch port one with the MAC.
    """
    direct, routed, bare = {}, {}, {}
    columns = ("frame.number", "eth.src", "ip.src", "ipv6.src", "arp.src.proto_ipv4")
    for number, mac, *addresses in fields_of(path, *columns):
        bare.setdefault(mac, int(number))
        for address in filter(None, addresses):
            direct.setdefault((mac, address), int(number))
            routed.setdefault(address, int(number))

    def first(port):
        if not port["addresses"]:
            return str(bare.get(port["mac"], "not seen"))
        seen = [direct[key] for address in port["addresses"] if (key := (port["mac"], address)) in direct]
        if seen:
            return str(min(seen))
        seen = [routed[address] for address in port["addresses"] if address in routed]
        return f"{min(seen)}, routed" if seen else "not seen"

    lines = ["| Machine | Role | Port, MAC | Addresses | First frame from it |", "| --- | --- | --- | --- | --- |"]
    for host in notes["hosts"]:
        for port in host["ports"]:
            addresses = ", ".join(port["addresses"]) or "none"
            lines.append(
                f"| {host['name']} | {host['role']} | {port['port']}, {port['mac']} | {addresses} | {first(port)} |"
            )
    return lines


def lost_on_the_way(folder, window):
    """Frames for Anna that passed the switch and are missing from the recording at her end of the cable."""
    identity = ("ip.id", "tcp.seq_raw", "frame.len")
    arrived = {tuple(row) for row in fields_of(folder / "protocols" / "loss-far-end.ns.pcap", *identity)}
    sent = fields_of(
        folder / "trouble.pcapng",
        "frame.number",
        *identity,
        only=f"{window} and tcp.srcport == 80 and ip.dst == 10.20.1.101",
    )
    return spelled([int(number) for number, *who in sent if tuple(who) not in arrived])


def overtaken(folder, window, sender, receiver, port):
    """Segments that arrive after one the server sent later: within a connection it numbers its datagrams upwards."""
    flow = f"{window} and ip.src == {sender} and ip.dst == {receiver} and tcp.srcport == {port} and tcp.len > 0"
    late, highest = [], None
    for number, identification in fields_of(folder / "trouble.pcapng", "frame.number", "ip.id", only=flow):
        ahead = (int(identification, 16) - (highest or 0)) & 0xFFFF
        if highest is not None and ahead > 0x8000:
            late.append(int(number))
        else:
            highest = int(identification, 16)
    return spelled(late)


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
    for scene, way, *flow in WAYS:
        late = overtaken(folder, windows(found)[scene], *flow)
        text += [f"{OVERTAKEN.format(way)}{late}.", ""]
        if late == "none":
            complaints.append(f"trouble.pcapng: nothing was overtaken {way}")
    dropped = next(
        (re.search(r"dropped (\d+)", n["counters"])[1] for n in notes["scenes"] if n.get("impairment") == "loss"), "?"
    )
    if not lost.endswith(f"({dropped})"):
        complaints.append(f"trouble.pcapng: the queue dropped {dropped} frames, the two ends differ by {lost}")
    impairments = [n for n in notes["scenes"] if "impairment" in n]
    text += [
        "### What the cables did",
        "",
        "The impairing queue's own counters, read when each scene ended.",
        "",
        "| Scene | Where | netem | Counters |",
        "| --- | --- | --- | --- |",
    ]
    text += [
        f"| {n['impairment']} | {n['where']} | {n['netem']} | {' '.join(n['counters'].split())} |" for n in impairments
    ]
    text += ["", "## `protocols/`", "", "Each is what its display filter selected in one of the recordings.", ""]
    text += ["| File | Format | Frames | Recorded at, during | Display filter |", "| --- | --- | --- | --- | --- |"]
    for name, source, expression in sorted(PROTOCOLS):
        if not (folder / "protocols" / name).exists():
            continue  # complained about when it was to be cut
        row, complaint = inspected(folder / "protocols" / name)
        scene, point = source.split("-", 1)
        text.append(f"| {name} | {row} | {WHERE[point]}, {scene} | `{expression}` |")
        complaints += complaint
    for path in (office, trouble):
        complaints += inspected(path)[1]
    (folder / "README.md").write_text("\n".join(text) + "\n")
    return complaints


def inspected(path):
    """A file's format and number of frames, and a complaint if tshark finds a packet that breaks its protocol's rules; in
    the file that is cut short on purpose it may. What tshark says about reassembling resent TCP data is no such thing.
    """
    everything, bad = frames_of(path, ["frame", "(_ws.malformed and not _ws.malformed.reassembly) or _ws.short"])
    complaint = [f"{path.name}: malformed or cut frames {spelled(bad)}"] if bad and ".snap" not in path.name else []
    return f"{form(path)} | {len(everything)}", complaint


def form(path):
    content = gzip.open(path).read() if path.name.endswith(".gz") else path.read_bytes()
    kind = {
        "d4c3b2a1": "pcap, microseconds",
        "4d3cb2a1": "pcap, nanoseconds",
        "a1b2c3d4": "pcap, microseconds, big-endian",
        "a1b23c4d": "pcap, nanoseconds, big-endian",
        "0a0d0d0a": "pcapng",
    }[content[:4].hex()]
    if kind.startswith("pcap,"):
        link = int.from_bytes(content[20:24], "big" if "big" in kind else "little")
        kind += {1: "", 276: ", Linux cooked v2"}.get(link, f", link type {link}")
    return kind + (", gzip" if path.name.endswith(".gz") else "")


def verify(folder):
    """Asks tshark again for every row. Says each that differs; the exit status tells whether any did."""
    path, wrong, checked, rows = None, [], 0, []
    windows_told = {}
    computed = {LOST: (lost_on_the_way, "loss", [])}
    computed |= {OVERTAKEN.format(way): (overtaken, scene, flow) for scene, way, *flow in WAYS}
    for line in (folder / "README.md").read_text().splitlines():
        if line.startswith("## "):
            name = re.search(r"`([^`]+)`", line)
            path = folder / name[1] if name and (folder / name[1]).is_file() else None
        elif row := re.match(r"^\| (loss|delay|reordering) \| (\d+)–(\d+) \|$", line):
            windows_told[row[1]] = f"frame.number >= {row[2]} and frame.number <= {row[3]}"
        elif told := next((told for told in computed if line.startswith(told)), None):
            checked += 1
            function, scene, flow = computed[told]
            if (now := function(folder, windows_told[scene], *flow) + ".") != line.removeprefix(told):
                wrong.append(f"trouble.pcapng: {scene}: the key says {line.removeprefix(told)} it is {now}")
        elif path and (row := ROW.match(line)):
            rows.append((path, row))
        elif row := re.match(r"^\| (\S+) \| (pcap[^|]*) \| (\d+) \| ", line):
            checked += 1
            now, complaint = inspected(folder / "protocols" / row[1])
            wrong += complaint
            if now != f"{row[2]} | {row[3]}":
                wrong.append(f"{row[1]}: the key says {row[2]} with {row[3]} frames, it has {now}")
    answers = []
    for file in dict.fromkeys(file for file, _ in rows):
        answers += [
            spelled(frames) for frames in frames_of(file, [row["filter"] for path, row in rows if path == file])
        ]
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
