#!/usr/bin/env python3
"""Writes the seeds of the two filter targets beside this file."""
import pathlib

here = pathlib.Path(__file__).parent

texts = {
    "comparison": 'tcp.port == 443 and not arp',
    "quotes": 'http.ua contains "it\'s" or http.host == \'a"b',
    "nested": '!(tcp or (udp and !dns)) && (ip.addr = 10.0.0.1 | eth.type == arp)',
    "unicode": 'dns.q == "caf\u00e9" \u00a0 e\u0301',
    "numbers": 'frame.len >= 0x40 ip.ttl < 1e2 tcp.window != -1',
    "unfinished": '((tcp.port ==',
    "unknown": 'foo.bar or tcp)',
}
for name, text in texts.items():
    (here / "Filter" / name).write_bytes(text.encode())

ethernet = "020000000002020000000001"
frames = {
    "tcp": ethernet + "080045000028000100004006000" + "00a0000010a000002c73800500000000100000001501003e800000000",
    "udp6": ethernet + "86dd60000000000d1140" + "20010db8000000000000000000000001" + "20010db8000000000000000000000002"
            + "9c409c41000d000168656c6c6f",
    "arp": ethernet + "08060001080006040001" + "02000000000a0a000001" + "0000000000000a000002",
    "dns": ethernet + "080045000039000100004011000" + "00a0000010a000002c738003500250000"
           + "000101000001000000000000076578616d706c6503636f6d0000010001",
}
filters = {
    "tcp": "tcp.port == 80 and ip.addr contains 10. and tcp.flags.ack == 1",
    "udp6": "udp.port > 40000 or host == 2001:db8::1",
    "arp": "arp.op == request eth.type = 0x806",
    "dns": 'dns.q contains "example" and dns.rcode != 3',
}
for name, frame in frames.items():
    (here / "FilterEvaluate" / name).write_bytes(filters[name].encode() + b"\n" + bytes.fromhex(frame))
