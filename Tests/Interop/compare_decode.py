#!/usr/bin/env python3
"""Compares `netrondo decode --json` with tshark, frame by frame and field by field.

Usage: compare_decode.py NETRONDO CAPTURE_OR_FOLDER... [--show N] [--field ID]

Prints, for each field, in how many frames either program has a value, the share in which both have the same, and up to
N differences. Ends with 1 when a field agrees in fewer than 99 % of its frames.
"""
import argparse
import collections
import json
import pathlib
import subprocess
import sys

# Ours -> theirs; several names of theirs are one field of ours.
FIELDS = {
    "frame.len": ["frame.len"],
    "eth.src": ["eth.src"], "eth.dst": ["eth.dst"], "eth.type": ["eth.type"],
    "arp.op": ["arp.opcode"], "arp.spa": ["arp.src.proto_ipv4"], "arp.tpa": ["arp.dst.proto_ipv4"],
    "arp.sha": ["arp.src.hw_mac"], "arp.tha": ["arp.dst.hw_mac"],
    "ip.src": ["ip.src"], "ip.dst": ["ip.dst"], "ip.ttl": ["ip.ttl"], "ip.proto": ["ip.proto"], "ip.len": ["ip.len"],
    "ipv6.src": ["ipv6.src"], "ipv6.dst": ["ipv6.dst"], "ipv6.hop": ["ipv6.hlim"], "ipv6.next": ["ipv6.nxt"],
    "tcp.source": ["tcp.srcport"], "tcp.destination": ["tcp.dstport"], "tcp.seq": ["tcp.seq_raw"],
    "tcp.ack": ["tcp.ack_raw"], "tcp.window": ["tcp.window_size_value"], "tcp.len": ["tcp.len"],
    "tcp.hdrlen": ["tcp.hdr_len"], "tcp.flags": ["tcp.flags"], "tcp.opt.mss": ["tcp.options.mss_val"],
    "tcp.opt.wscale": ["tcp.options.wscale.shift"], "tcp.opt.ts": ["tcp.options.timestamp.tsval"],
    "udp.source": ["udp.srcport"], "udp.destination": ["udp.dstport"], "udp.length": ["udp.length"],
    "icmp.type": ["icmp.type"], "icmp.code": ["icmp.code"],
    "icmpv6.type": ["icmpv6.type"], "icmpv6.code": ["icmpv6.code"],
    "icmpv6.target": ["icmpv6.nd.ns.target_address", "icmpv6.nd.na.target_address", "icmpv6.nd.rd.target_address"],
    "dns.id": ["dns.id"], "dns.rcode": ["dns.flags.rcode"], "dns.q": ["dns.qry.name"],
    "http.host": ["http.host"], "http.ua": ["http.user_agent"], "http.ct": ["http.content_type"],
    "http.cl": ["http.content_length_header"],
    "tls.sni": ["tls.handshake.extensions_server_name"], "tls.hs": ["tls.handshake.type"],
    "tls.alert.desc": ["tls.alert_message.desc"],
    "dhcp.opt53": ["dhcp.option.dhcp"], "dhcp.xid": ["dhcp.id"],
    "ssh.banner": ["ssh.protocol"], "smb.cmd": ["smb.cmd", "smb2.cmd"], "snmp.community": ["snmp.community"],
}
# One frame at a time, as we decode: nothing put together, absolute numbers.
PREFERENCES = ["tcp.desegment_tcp_streams:FALSE", "tcp.reassemble_out_of_order:FALSE", "ip.defragment:FALSE",
               "ipv6.defragment:FALSE", "tcp.relative_sequence_numbers:FALSE", "tcp.try_heuristic_first:FALSE",
               "tls.desegment_ssl_records:FALSE", "tls.desegment_ssl_application_data:FALSE"]


def walk(nodes, values):
    for node in nodes:
        if node["id"] in FIELDS:
            values[node["id"]].append(node.get("value", ""))
        walk(node.get("children", []), values)


def ours(program, capture):
    run = subprocess.run([program, "decode", capture, "--json"], capture_output=True)
    for line in run.stdout.splitlines():
        frame = json.loads(line)
        values = collections.defaultdict(list)
        walk(frame["tree"], values)
        stack = [node["id"] for node in frame["tree"]]
        yield values, frame["source"], frame["destination"], stack


def theirs(capture):
    names = [name for group in FIELDS.values() for name in group]
    command = ["tshark", "-n", "-r", capture, "-T", "fields", "-E", "separator=\x1f", "-E", "aggregator=\x1e"]
    for preference in PREFERENCES:
        command += ["-o", preference]
    for name in names + ["_ws.col.Source", "_ws.col.Destination", "frame.protocols"]:
        command += ["-e", name]
    run = subprocess.run(command, capture_output=True)
    for line in run.stdout.decode("utf-8", "replace").split("\n")[:-1]:
        cells = line.split("\x1f")
        columns = dict(zip(names, cells))
        values = {}
        for field, group in FIELDS.items():
            values[field] = [value for name in group for value in columns.get(name, "").split("\x1e") if value]
        # The end of a chain of commands is a number for them, no command.
        values["smb.cmd"] = [value for value in values["smb.cmd"] if value != "0xff"]
        yield values, cells[-3], cells[-2], cells[-1].split(":")


def normal(value):
    value = value.strip()
    try:
        return str(int(value, 16 if value.lower().startswith("0x") else 10))
    except ValueError:
        return value.lower()


def captures(paths):
    for path in map(pathlib.Path, paths):
        yield from (sorted(p for p in path.rglob("*") if p.is_file()) if path.is_dir() else [path])


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("captures", nargs="+")
    parser.add_argument("--show", type=int, default=3)
    parser.add_argument("--field")
    options = parser.parse_args()

    seen, same, differences = collections.Counter(), collections.Counter(), collections.defaultdict(list)
    files = frames = 0

    def compare(field, mine, other, where):
        if not mine and not other:
            return
        seen[field] += 1
        if sorted(map(normal, mine)) == sorted(map(normal, other)):
            same[field] += 1
        else:
            differences[field].append(f"{where}: {mine} / {other}")

    for capture in captures(options.captures):
        left, right = list(ours(options.program, str(capture))), list(theirs(str(capture)))
        if not left or len(left) != len(right):
            if left or right:
                print(f"{capture}: {len(left)} frames here, {len(right)} there; left out")
            continue
        files += 1
        frames += len(left)
        for number, (mine, other) in enumerate(zip(left, right), 1):
            where = f"{capture.name} frame {number}"
            for field in FIELDS:
                compare(field, mine[0].get(field, []), other[0].get(field, []), where)
            compare("column source", [mine[1]], [other[1]], where)
            compare("column destination", [mine[2]], [other[2]], where)

    print(f"{files} files, {frames} frames")
    low = False
    for field in [*FIELDS, "column source", "column destination"]:
        if not seen[field] or (options.field and field != options.field):
            continue
        share = 100 * same[field] / seen[field]
        low = low or share < 99
        print(f"{field:20} {seen[field]:8} frames  {share:6.2f} % agree")
        for line in differences[field][:options.show]:
            print(f"    {line[:220]}")
    return 1 if low else 0


if __name__ == "__main__":
    sys.exit(main())
