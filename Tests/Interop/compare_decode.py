#!/usr/bin/env python3
"""Compares `netrondo decode --json` with tshark, frame by frame and field by field.

Usage: compare_decode.py NETRONDO CAPTURE_OR_FOLDER... [--show N] [--field ID]

Prints, for each field and for the stack of protocols, in how many frames either program has a value, the share in which
both have the same, the share that differs for a reason that the frame itself shows, and up to N differences without one.
Ends with 1 when more than 1 % of a field's frames differ without a reason.
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
    "dns.id": ["dns.id", "nbns.id"], "dns.rcode": ["dns.flags.rcode", "nbns.flags.rcode"], "dns.q": ["dns.qry.name"],
    "http.host": ["http.host"], "http.ua": ["http.user_agent"], "http.ct": ["http.content_type"],
    "http.cl": ["http.content_length_header"],
    "tls.sni": ["tls.handshake.extensions_server_name"], "tls.hs": ["tls.handshake.type"],
    "tls.alert.desc": ["tls.alert_message.desc"],
    "dhcp.opt53": ["dhcp.option.dhcp"], "dhcp.xid": ["dhcp.id"],
    "ssh.banner": ["ssh.protocol"], "smb.cmd": ["smb.cmd", "smb2.cmd"], "snmp.community": ["snmp.community"],
}
# Streams are put together on both sides, but for bodies, which stand behind the headers told here; fragments on neither. Numbers are
# absolute.
PREFERENCES = ["ip.defragment:FALSE", "ipv6.defragment:FALSE", "tcp.relative_sequence_numbers:FALSE",
               "tcp.try_heuristic_first:FALSE", "http.desegment_body:FALSE"]
# The protocols whose order in a frame is compared, by either's name.
STACK = {name: name for name in ("eth", "arp", "ip", "ipv6", "tcp", "udp", "sctp", "icmp", "icmpv6", "igmp", "gre", "ospf",
                                 "pim", "vrrp", "stp", "cdp", "lldp", "eapol", "dhcp", "dhcpv6", "ntp", "snmp", "ldap", "ipx",
                                 "mpls", "vxlan", "radius", "mqtt", "bgp", "ssh", "telnet")}
STACK |= {"vlan": "vlan", "pppoe": "pppoe", "pppoes": "pppoe", "cldap": "ldap"}
CONTINUES = "decode.continues"  # our mark of a message that goes on in the next segment
EXTRA = ["_ws.col.Source", "_ws.col.Destination", "_ws.col.Info", "ip.flags.mf", "ip.frag_offset", "frame.protocols"]


def walk(nodes, values):
    for node in nodes:
        if node["id"] in FIELDS or node["id"] == CONTINUES:
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
    for name in names + EXTRA:
        command += ["-e", name]
    run = subprocess.run(command, capture_output=True)
    for line in run.stdout.decode("utf-8", "replace").split("\n")[:-1]:
        cells = line.split("\x1f")
        columns = dict(zip(names + EXTRA, cells))
        values = {}
        for field, group in FIELDS.items():
            values[field] = [value for name in group for value in columns.get(name, "").split("\x1e") if value]
        # The end of a chain of commands is a number for them, no command.
        values["smb.cmd"] = [value for value in values["smb.cmd"] if value != "0xff"]
        yield values, columns


def order(protocols):
    """The order of the protocols that both know. Messages of one protocol behind each other count once."""
    known = [STACK[name] for name in protocols if name in STACK]
    inner = ("ip", "ipv6", "vlan")  # within themselves these are tunnels
    return [":".join(name for i, name in enumerate(known) if i == 0 or name != known[i - 1] or name in inner)]


def reason(field, mine, other, stack, goes_on, columns):
    """Why the two differ, as far as the frame shows it; None where it does not."""
    protocols, info = columns["frame.protocols"].split(":"), columns["_ws.col.Info"]
    if columns["ip.flags.mf"].startswith(("1", "True")) or "ipv6.fraghdr" in protocols or "ipv6.fraghdr" in stack:
        return "a fragment: its beginning is read here, and only told as data there"
    if "_ws.malformed" in protocols or "_ws.short" in protocols or "decode.malformed" in stack:
        return "malformed or cut: one of the two reads on further"
    if "reassembled PDU" in info or "[TCP segment" in info:
        return "a part of a message: read here, shown with the last part there"
    if mine and "Retransmission" in info:
        return "sent again: read again here, not shown again there"
    if mine and goes_on:
        return "a message that goes on in the next segment: told here as far as it goes"
    if mine and not other and (protocols[-1] == "data" or info == "Continuation"):
        return "read here, left as data or as a continuation there"
    if field.startswith("dns.") and ("nbns" in stack or "nbns" in protocols):
        return "NetBIOS names: names and records are counted otherwise"
    if other and mine and set(map(normal, mine)) <= set(map(normal, other)):
        return "quoted or repeated there: a header within another, or a message shown again"
    if mine and not other and any(name in stack for name in ("quic", "dtls", "eap", "openvpn", "rdp")):
        return "handshakes within QUIC, DTLS, EAP, OpenVPN and RDP are told here"
    return None


def normal(value):
    value = value.strip().removeprefix("N/A")
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

    seen, same = collections.Counter(), collections.Counter()
    explained, differences = collections.defaultdict(collections.Counter), collections.defaultdict(list)
    files = frames = 0

    for capture in captures(options.captures):
        left, right = list(ours(options.program, str(capture))), list(theirs(str(capture)))
        if not left or len(left) != len(right):
            if left or right:
                print(f"{capture}: {len(left)} frames here, {len(right)} there; left out")
            continue
        files += 1
        frames += len(left)
        for number, (mine, (values, columns)) in enumerate(zip(left, right), 1):
            fields, source, destination, stack = mine
            pairs = {field: (fields.get(field, []), values[field]) for field in FIELDS}
            pairs["column source"] = ([source], [columns["_ws.col.Source"]])
            pairs["column destination"] = ([destination], [columns["_ws.col.Destination"]])
            pairs["protocol stack"] = (order(stack), order(columns["frame.protocols"].split(":")))
            for field, (one, other) in pairs.items():
                if not one and not other:
                    continue
                seen[field] += 1
                if sorted(map(normal, one)) == sorted(map(normal, other)):
                    same[field] += 1
                elif why := reason(field, one, other, stack, CONTINUES in fields, columns):
                    explained[field][why] += 1
                else:
                    differences[field].append(f"{capture.name} frame {number}: {one} / {other}")

    print(f"{files} files, {frames} frames")
    low = False
    for field in [*FIELDS, "protocol stack", "column source", "column destination"]:
        if not seen[field] or (options.field and field != options.field):
            continue
        share = 100 * len(differences[field]) / seen[field]
        low = low or share > 1
        print(f"{field:20} {seen[field]:8} frames  {100 * same[field] / seen[field]:6.2f} % agree"
              f"  {100 * sum(explained[field].values()) / seen[field]:6.2f} % explained  {share:6.2f} % not")
        for why, count in explained[field].most_common():
            print(f"    {count:6} {why}")
        for line in differences[field][:options.show]:
            print(f"    {line[:220]}")
    return 1 if low else 0


if __name__ == "__main__":
    sys.exit(main())
