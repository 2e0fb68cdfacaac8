"""Cuts the recordings into the files that are shipped."""
from ask import frames_of
from capture import Interface, read_pcap, write_pcap, write_pcapng

POINTS = {
    "office": Interface("sw1-span", "Mirror of everything that crosses core switch sw1", 1),
    "uplink2": Interface(
        "sw1-uplink2",
        "Spare uplink to sw2, which spanning tree keeps blocked",
        1,
        "ether[0:4] = 0x0180c200 or ether[0:4] = 0x01000ccc or ether[0:4] = 0x00e02b00",
    ),
    "voice": Interface("sw3-trunk", "Trunk between voice switches sw3 and sw4 (VLAN 20)", 1),
    "lab6": Interface("sw6-span", "Mirror of the IPv6-only lab switch", 1),
    "wan": Interface("gw1-wan", "Router 1 towards the provider", 1),
    "anna": Interface("anna-eth0", "Anna's PC, the far end of the bad cable", 1),
}


def several(taps, path, scene, points, comment):
    """Recordings of several points as one file, in the order of their clocks, which are one clock."""
    frames, interfaces = [], []
    for point in points:
        link_type, some = read_pcap(taps / f"{scene}-{point}.pcap")
        for frame in some:
            frame.interface = len(interfaces)
        frames += some
        interfaces.append(POINTS[point])
    frames.sort(key=lambda frame: frame.time)
    write_pcapng(path, interfaces, frames, comment)


def protocols(taps, folder, table):
    """One protocol's frames of one point. The name says the format: .ns. for nanoseconds, .be. for big-endian, .snap96.
    for frames cut to 96 bytes; the ending, whether it is pcapng and whether it is gzipped."""
    folder.mkdir(parents=True, exist_ok=True)
    for old in folder.iterdir():
        old.unlink()
    complaints = []
    for source in sorted({source for _, source, _ in table}):
        rows = [row for row in table if row[1] == source]
        link_type, frames = read_pcap(taps / f"{source}.pcap")
        for (name, _, expression), wanted in zip(rows, frames_of(taps / f"{source}.pcap", [row[2] for row in rows])):
            chosen = [frames[number - 1] for number in wanted]
            if not chosen:
                complaints.append(f"{name}: nothing matched {expression!r} in {source}")
            elif ".pcapng" in name:
                point = source.split("-", 1)[1]
                known = POINTS.get(point, Interface(point, f"Recorded at {point}", link_type))
                write_pcapng(
                    folder / name,
                    [Interface(known.name, known.description, link_type)],
                    chosen,
                    f"{name.split('.')[0]} from the office",
                )
            else:
                write_pcap(
                    folder / name,
                    link_type,
                    chosen,
                    nanoseconds=".ns." in name,
                    big_endian=".be." in name,
                    snap=96 if ".snap96." in name else 262144,
                )
    return complaints


# name, which recording, display filter
PROTOCOLS = [
    ("arp.pcap", "tour-office", "arp"),
    ("stp-lldp-cdp.pcapng", "tour-uplink2", "stp or lldp or cdp"),
    ("dhcp.pcap", "tour-office", "dhcp"),
    ("dns.ns.pcap", "tour-office", "dns and not mdns"),
    ("dns-forwarder.pcap", "tour-wan", "dns"),
    ("mdns.pcap.gz", "tour-office", "mdns"),
    ("nbns-ssdp.pcap", "tour-office", "nbns or ssdp"),
    ("ntp.be.pcap", "tour-office", "ntp"),
    ("icmp.pcap", "tour-office", "icmp"),
    ("icmpv6.pcap", "tour-lab6", "icmpv6"),
    ("igmp-multicast.pcap", "tour-office", "igmp or ip.dst == 239.0.0.0/8"),
    ("vrrp.pcap", "tour-office", "vrrp"),
    ("ospf.pcapng", "tour-office", "ospf"),
    ("bgp.pcap", "tour-wan", "tcp.port == 179"),
    ("gre.pcap", "tour-wan", "gre"),
    ("vxlan.pcap", "tour-wan", "vxlan"),
    ("vlan.pcap", "tour-gw1-vlan", "vlan"),
    ("http.ns.pcap", "tour-office", "tcp.port == 80 and ip.addr == 10.20.1.101"),
    ("http-ipv6.pcap", "tour-lab6", "tcp.port == 80"),
    ("tls.pcapng.gz", "tour-office", "tcp.port == 443 and ip.addr == 10.20.1.101"),
    ("tls-bad-certificates.pcap", "tour-office", "tcp.port == 443 and ip.addr == 10.20.1.102"),
    ("quic.pcap", "tour-wan", "udp.port == 4433"),
    ("ssh.pcap", "tour-office", "tcp.port == 22"),
    ("ssh-ipv6.ns.pcap.gz", "tour-lab6", "tcp.port == 22"),
    ("telnet.pcap", "tour-office", "tcp.port == 23"),
    ("ftp.pcap", "tour-office", "ftp or ftp-data or tcp.port == 21"),
    ("tftp.pcap", "tour-voice", "tftp or udp.port == 69"),
    ("smtp.pcap", "tour-office", "tcp.port == 25"),
    ("pop3.pcap", "tour-office", "tcp.port == 110"),
    ("imap.pcap", "tour-office", "tcp.port == 143"),
    ("smb.pcapng", "tour-office", "tcp.port == 445"),
    ("ldap.pcap", "tour-office", "tcp.port == 389"),
    ("kerberos.pcap", "tour-office", "kerberos"),
    ("nfs3.pcap", "tour-office", "rpc or tcp.port == 2049 or tcp.port == 111"),
    ("nfs4.pcap.gz", "trouble-office", "tcp.port == 2049"),
    ("mysql.pcap", "tour-office", "tcp.port == 3306"),
    ("postgresql.pcap", "tour-office", "tcp.port == 5432"),
    ("redis.pcap", "tour-office", "tcp.port == 6379"),
    ("mqtt.pcap", "tour-office", "tcp.port == 1883"),
    ("sip-rtp.pcapng.gz", "tour-voice", "sip or rtp or rtcp"),
    ("snmp.pcap", "tour-office", "snmp"),
    ("syslog.pcap", "tour-office", "syslog or tcp.port == 514"),
    ("radius.pcap", "tour-office", "radius"),
    ("stun.pcap", "tour-wan", "stun"),
    ("rdp.pcap.gz", "tour-office", "tcp.port == 3389"),
    ("vnc.pcap.gz", "tour-office", "tcp.port == 5901"),
    ("any-cooked.pcap", "tour-any", "frame.number <= 600"),
    ("any-cooked.pcapng.gz", "tour-any", "frame.number <= 600"),
    ("cut-short.snap96.pcap", "tour-office", "frame.number <= 300"),
    ("isis.pcap", "trouble-bench", "isis"),
    ("ospfv3.pcap", "trouble-bench", "ospf"),
    ("rip.pcap", "trouble-bench", "rip"),
    ("ripng.pcap", "trouble-bench", "ripng"),
    ("eigrp.pcap", "trouble-bench", "eigrp"),
    ("pim.pcap", "trouble-bench", "pim or igmp"),
    ("bfd.pcap", "trouble-bench", "bfd"),
    ("dhcpv6.pcap", "trouble-bench", "dhcpv6"),
    ("dot1x.pcap", "trouble-bench", "eapol or eap"),
    ("sctp.pcap", "trouble-bench", "sctp"),
    ("dtls.pcap", "trouble-bench", "dtls"),
    ("loss-far-end.ns.pcap", "trouble-anna", "tcp.srcport == 80 and ip.dst == 10.20.1.101"),
    ("routing-loop.ns.pcap", "trouble-wan", "icmp"),
]


def all_files(taps, folder):
    several(
        taps,
        folder / "office.pcapng",
        "tour",
        ["office", "uplink2", "voice", "lab6", "wan"],
        "Two minutes of an ordinary morning",
    )
    several(
        taps, folder / "trouble.pcapng", "trouble", ["office", "uplink2", "voice", "wan"], "A bad day, made on purpose"
    )
    complaints = protocols(taps, folder / "protocols", PROTOCOLS)
    for name, limit in (("office.pcapng", 6_000_000), ("trouble.pcapng", 3_000_000)):
        size = (folder / name).stat().st_size
        if size > limit:
            complaints.append(f"{name} has {size} bytes, more than {limit}")
    total = sum(path.stat().st_size for path in folder.rglob("*") if path.is_file())
    if total > 16_000_000:
        complaints.append(f"the samples have {total} bytes, more than 16000000")
    return complaints
