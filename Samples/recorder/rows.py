"""What the answer key says: a sentence, the display filter that finds it, and how many frames (None: some)."""

FINE_PRINT = """
# Samples, with their answers

Captures of a small office that does not exist, recorded from real servers and clients by `Samples/record`: people, names and
passwords are made up, addresses are private or reserved for documentation, keys and certificates were made for the occasion and
thrown away. `Samples/record` records everything anew (as root, in under ten minutes, installing the Debian packages listed in
`recorder/packages.txt`); `Samples/record --verify` asks tshark again for every row below.

The office stands in network namespaces: machines are namespaces, cables veth pairs without any offload (checksums and frame sizes
are real), switches kernel bridges. All of them live in a kernel of their own (the package user-mode-linux), which brings `netem`,
VLANs, GRE and an NFS server wherever the recorder runs and keeps the office away from the machine it runs on. There is no uplink.

`office.pcapng` is two minutes of an ordinary morning seen at five points at once, `trouble.pcapng` a bad day seen at four. What
crosses a router is seen on both of its sides, as in any capture taken at several points; traffic to the provider changes its
address on the way (NAT), so it appears as two conversations.

`web.pcap` is older and simpler: a web server and its client on one machine, two pages fetched, one that is missing, three pings, a
port that nobody listens on; recorded with tcpdump on the loopback interface of a network namespace.

Not in here: what needs hardware (Wi-Fi, pause frames, frames with a checksum that a cable spoiled), what no Debian package speaks
(IPX, AppleTalk, the redundancy protocols of single vendors), and SMB 1, which Samba no longer offers unless it is told to.

Columns: the frames are those the display filter selects in tshark; numbers in brackets count them.
"""


MACHINES = """
Cables: `sw1` carries the routers and the servers, `sw2` the PCs, the printer and the screen; two uplinks join them, of which
spanning tree keeps one blocked. `sw3` carries the PBX, phone 101 and router 1's tagged port, `sw4` phone 102, the camera and the
sensor; a trunk with VLAN 20 joins them. `sw6` carries the IPv6-only lab. Router 1 has a leg in each and one to the provider, behind
whom are the public web server and the branch. Both routers share 10.20.1.1 (VRRP group 5, MAC 00:00:5e:00:01:05). The PCs
and the laptop show the leases they had at the end of the tour.
"""


def scene(name, rest):
    return f"{{{name}}} and {rest}"


LEASES = [
    ("Anna's PC", "10.20.1.101"),
    ("Bruno's PC", "10.20.1.102"),
    ("Carla's PC", "10.20.1.103"),
    ("David's PC", "10.20.1.104"),
    ("the printer", "10.20.1.120"),
    ("the meeting-room screen", "10.20.1.121"),
]

OFFICE = [
    # who is there, and how it is known
    *[
        (f"{who} is leased {address}", f"dhcp.option.dhcp == 5 and dhcp.ip.your == {address}", None)
        for who, address in LEASES
    ],
    (
        "the visitor's laptop, named guest, asks for a lease",
        'dhcp.option.hostname == "guest" and dhcp.option.dhcp == 3',
        None,
    ),
    ("DNS: wiki is another name of web", 'dns.flags.response == 1 and dns.cname == "web.office.example"', None),
    ("DNS: mail has address 10.20.1.12", 'dns.flags.response == 1 and dns.a == 10.20.1.12', None),
    ("DNS: files has address 10.20.1.13", 'dns.flags.response == 1 and dns.a == 10.20.1.13', None),
    ("DNS: build6 has only an IPv6 address", 'dns.flags.response == 1 and dns.aaaa == 2001:db8:20:3::10', None),
    (
        "DNS: the address 10.20.1.13 belongs to files",
        'dns.flags.response == 1 and dns.ptr.domain_name == "files.office.example"',
        1,
    ),
    ("DNS: the office's mail exchanger", "dns.flags.response == 1 and dns.mx.mail_exchange", None),
    ("DNS over TCP", "dns and tcp", None),
    (
        "DNS: a name that does not exist (www.exmaple.net)",
        'dns.flags.rcode == 3 and dns.qry.name == "www.exmaple.net"',
        None,
    ),
    ("DNS: the name server asks the provider's", "dns and ip.src == 192.0.2.1", None),
    ("mDNS: the printer announces itself", 'mdns and dns.resp.name contains "LaserPrinter"', None),
    ("mDNS: the meeting-room screen announces itself", 'mdns and dns.resp.name contains "Meeting room"', None),
    ("NetBIOS: files answers for its name", "nbns.flags.response == 1 and ip.src == 10.20.1.13", None),
    *[
        (f"LLDP: {name} tells its neighbours its name", f'lldp.tlv.system.name == "{name}.office.example"', None)
        for name in ("sw1", "sw2", "sw3", "sw4")
    ],
    ("CDP: sw1 tells its neighbours its name", 'cdp.deviceid == "sw1.office.example"', None),
    ("CDP: router 1 tells its neighbours its name", 'cdp.deviceid == "gw1.office.example"', None),
    ("spanning tree: sw1 is the root, seen on the spare uplink", "stp.root.hw == 02:20:01:00:01:01", None),
    ("VLAN 20 on the voice trunk", "vlan.id == 20", None),
    # routing
    ("OSPF: hellos of router 1", "ospf.msg == 1 and ip.src == 10.20.1.2", None),
    ("OSPF: hellos of router 2", "ospf.msg == 1 and ip.src == 10.20.1.3", None),
    ("OSPF: the two describe their databases", "ospf.msg == 2", None),
    ("OSPF: link-state updates", "ospf.msg == 4", None),
    ("BGP: both sides open", "bgp.type == 1", None),
    ("BGP: the provider announces 203.0.113.0/24", "bgp.type == 2 and bgp.nlri_prefix == 203.0.113.0", None),
    ("VRRP: router 1 is master of 10.20.1.1", "vrrp and ip.src == 10.20.1.2", None),
    ("IPv6 router advertisements", "icmpv6.type == 134", None),
    ("IPv6 addresses being checked before use", "icmpv6.type == 135 and ipv6.src == ::", None),
    ("ARP requests", "arp.opcode == 1", None),
    ("IGMP membership reports", "igmp.type == 0x22", None),
    ("multicast to the meeting-room screen", "udp and ip.dst == 239.20.1.1", None),
    ("multicast from the camera", "udp and ip.src == 10.20.2.30 and ip.dst == 239.20.2.1", None),
    ("GRE tunnel to the branch", "gre", None),
    ("VXLAN between router 1 and the branch", "vxlan", None),
    # the web
    ("HTTP: answered 200", "http.response.code == 200", None),
    ("HTTP: moved (301)", "http.response.code == 301", 1),
    ("HTTP: a page that is not there (404)", "http.response.code == 404", 1),
    ("HTTP: a page that wants a password (401)", "http.response.code == 401", 1),
    ("HTTP: Anna's password in clear (Basic)", "http.authbasic", 1),
    ("HTTP: a form is sent", 'http.request.method == "POST"', 1),
    (
        "TLS 1.3: the server agrees",
        "tls.handshake.type == 2 and tls.handshake.extensions.supported_version == 0x0304",
        None,
    ),
    ("TLS 1.2: the server agrees", "tls.handshake.type == 2 and not tls.handshake.extensions.supported_version", None),
    ("HTTP/2 is offered by name", 'tls.handshake.type == 1 and tls.handshake.extensions_alpn_str == "h2"', None),
    ("TLS: Bruno asks for old.office.example", 'tls.handshake.extensions_server_name == "old.office.example"', 2),
    ("TLS: its certificate, which has expired, in clear (TLS 1.2)", 'x509ce.dNSName == "old.office.example"', 1),
    (
        "TLS: Bruno asks for lab.office.example, self-signed",
        'tls.handshake.extensions_server_name == "lab.office.example"',
        1,
    ),
    ("QUIC", "quic", None),
    # terminals, files, mail
    ("SSH: the versions", "ssh.protocol", None),
    ("Telnet: David's session, password included", "telnet", None),
    ("FTP: David logs in", 'ftp.request.command == "PASS"', None),
    ("FTP: file contents", "ftp-data", None),
    ("TFTP: a phone asks for its settings", "tftp.opcode == 1", None),
    ("SMTP: Bruno writes to Anna", 'smtp.req.parameter contains "anna@office.example"', 1),
    ("SMTP: Bruno's second message goes under TLS", 'smtp.command_line contains "STARTTLS"', 1),
    ("IMAP: Anna reads", "imap", None),
    ("IMAP: Anna's password in clear (Base64)", 'imap.request contains "AUTHENTICATE PLAIN"', None),
    ("POP3: Carla reads", "pop", None),
    ("POP3: Carla's password in clear (Base64)", 'pop.request.command == "AUTH"', None),
    ("SMB: Carla's session is accepted", "smb2.cmd == 1 and smb2.nt_status == 0 and smb2.flags.response == 1", None),
    ("SMB: budget.xlsx is opened", 'smb2.filename == "budget.xlsx" and smb2.cmd == 5', None),
    ("LDAP: searches", "ldap.searchRequest_element", None),
    ("Kerberos: a ticket is granted", "kerberos.msg_type == 11", 1),
    ("RPC: the port mapper is asked", "portmap", None),
    ("NFS: model.dat is read", "nfs.procedure_v3 == 6", None),
    # databases, telephony, things
    ("MySQL: queries", "mysql.command == 3", None),
    ("MySQL: an error", "mysql.response_code == 0xff", None),
    ("PostgreSQL", "pgsql", None),
    ("PostgreSQL: an error", 'pgsql.type == "Error"', None),
    ("Redis", "resp", None),
    ("SIP: registrations", 'sip.Method == "REGISTER"', None),
    ("SIP: 101 calls 102", 'sip.Method == "INVITE" and sip.to.user contains "102" and ip.dst == 10.20.2.22', 1),
    ("RTP: the call", "rtp", None),
    ("MQTT: the sensor publishes", "mqtt.msgtype == 3 and ip.src == 10.20.2.31", None),
    ("SNMP: community public", 'snmp.community == "public"', None),
    ("SNMP: the printer's trap", "snmp.data == 7", 1),
    ("Syslog over UDP", "syslog and udp", 4),
    ("RADIUS: accepted", "radius.code == 2", 1),
    ("RADIUS: rejected", "radius.code == 3", 1),
    ("NTP: clients ask", "ntp.flags.mode == 3", None),
    ("STUN", "stun", None),
    ("RDP: connection requests", "rdp", None),
    ("VNC", "vnc", None),
    ("SSDP: Carla looks for routers", "ssdp", None),
    # reachability
    (
        "ping from David to phone 102: once on each side of the router",
        "icmp.type == 8 and ip.src == 10.20.1.104 and ip.dst == 10.20.2.22",
        8,
    ),
    ("traceroute: hops that say so", "icmp.type == 11 and not gre", None),
    ("traceroute over IPv6: hops that say so", "icmpv6.type == 3", None),
    ("fragments of large pings", "ipv6.fraghdr or ip.flags.mf == 1", None),
]

FAULTS = [
    ("an ordinary ping: 3 sent", scene("an ordinary minute", "icmp.type == 8"), 3),
    (
        "loss: segments sent again to Anna",
        scene("loss", "ip.dst == 10.20.1.101 and (tcp.analysis.retransmission or tcp.analysis.out_of_order)"),
        None,
    ),
    (
        "loss: Anna asks again (duplicate ACKs)",
        scene("loss", "ip.src == 10.20.1.101 and tcp.analysis.duplicate_ack"),
        None,
    ),
    ("loss: Anna says what she has (SACK)", scene("loss", "ip.src == 10.20.1.101 and tcp.options.sack_le"), None),
    (
        "delay: handshakes that take over 200 ms",
        scene("delay", "tcp.flags.syn == 1 and tcp.flags.ack == 1 and tcp.time_delta > 0.2"),
        None,
    ),
    ("delay: a page that takes over half a second", scene("delay", "http.time > 0.5"), None),
    (
        "duplication: data that David's PC already had",
        scene("duplication", "ip.src == 10.20.1.13 and tcp.len > 0 and tcp.analysis.retransmission"),
        None,
    ),
    (
        "reordering: Carla's PC asks for what it misses (duplicate ACKs)",
        scene("reordering", "ip.src == 10.20.1.103 and tcp.analysis.duplicate_ack"),
        None,
    ),
    (
        "zero window: Carla's PC closes its window",
        scene("a receiver stops reading", "ip.src == 10.20.1.103 and tcp.analysis.zero_window"),
        None,
    ),
    (
        "zero window: the server probes",
        scene(
            "a receiver stops reading",
            "ip.src == 10.20.1.11 and (tcp.analysis.zero_window_probe or tcp.analysis.keep_alive)",
        ),
        None,
    ),
    (
        "zero window: the window opens again",
        scene("a receiver stops reading", "ip.src == 10.20.1.103 and tcp.analysis.window_update"),
        None,
    ),
    (
        "killed server: its connections end",
        scene(
            "a server is killed in mid-transfer",
            "ip.src == 10.20.1.11 and tcp.srcport == 80 and (tcp.flags.fin == 1 or tcp.flags.reset == 1)",
        ),
        None,
    ),
    (
        "killed server: Anna's next connection is refused",
        scene(
            "a server is killed in mid-transfer",
            "tcp.srcport == 80 and tcp.flags.reset == 1 and tcp.flags.ack == 1 and tcp.seq == 1",
        ),
        None,
    ),
    (
        "pulled cable: the server repeats, ever slower",
        scene(
            "a cable is pulled in mid-transfer",
            "ip.src == 10.20.1.11 and ip.dst == 10.20.1.102 and tcp.analysis.retransmission",
        ),
        None,
    ),
    ("nobody there: host unreachable (10.20.2.99)", "icmp.type == 3 and icmp.code == 1 and ip.dst == 10.20.2.99", None),
    ("nobody there: network unreachable (10.99.0.1)", "icmp.type == 3 and icmp.code == 0 and ip.dst == 10.99.0.1", 2),
    (
        "nobody there: ARP for 10.20.1.77 stays without answer",
        "arp.opcode == 1 and arp.dst.proto_ipv4 == 10.20.1.77 and arp.src.proto_ipv4 == 10.20.1.104",
        None,
    ),
    ("nobody there: forbidden by the router (SMTP to 198.51.100.10)", "icmp.type == 3 and icmp.code == 13", None),
    ("nobody there: port 8888 of web refuses", "tcp.srcport == 8888 and tcp.flags.reset == 1", None),
    (
        "nobody there: port 27017 of db refuses",
        "tcp.srcport == 27017 and tcp.flags.reset == 1 and ip.dst == 10.20.1.104",
        1,
    ),
    ("nobody there: UDP port 53 of web is closed", "icmp.type == 3 and icmp.code == 3 and ip.src == 10.20.1.11", None),
    (
        "wrong names: wiki.ofice.example does not exist",
        'dns.flags.rcode == 3 and dns.qry.name == "wiki.ofice.example"',
        None,
    ),
    (
        "wrong names: intranet.office.example does not exist",
        'dns.flags.rcode == 3 and dns.qry.name == "intranet.office.example"',
        None,
    ),
    ("wrong names: broken.example cannot be served", "dns.flags.rcode == 2", None),
    ("wrong names: a zone transfer is refused", "dns.flags.rcode == 5", None),
    (
        "wrong names: the server sleeps, the question is repeated",
        'dns.flags.response == 0 and dns.qry.name == "mail.office.example" and ip.src == 10.20.1.104',
        None,
    ),
    ("wrong names: answers later than half a second", "dns.time > 0.5", None),
    (
        "one address twice: the visitor claims 10.20.1.13",
        "arp.src.proto_ipv4 == 10.20.1.13 and arp.src.hw_mac == 02:20:01:00:00:99",
        None,
    ),
    (
        "one address twice: the owner claims it too",
        scene("one address twice", "arp.src.proto_ipv4 == 10.20.1.13 and arp.src.hw_mac == 02:20:01:00:00:0d"),
        None,
    ),
    (
        "one address twice: IPv6, asked before use",
        "icmpv6.nd.ns.target_address == 2001:db8:20:1::11 and ipv6.src == ::",
        None,
    ),
    (
        "one address twice: IPv6, the owner objects",
        scene("one address twice", "icmpv6.nd.na.target_address == 2001:db8:20:1::11 and ipv6.dst == ff02::1"),
        None,
    ),
    (
        "routing loop: the first ping goes round 19 times",
        "icmp.type == 8 and ip.dst == 203.0.113.200 and icmp.seq == 1 and not icmp.type == 11",
        19,
    ),
    ("routing loop: its time to live runs out", "icmp.type == 11", None),
    (
        "address scan: the visitor asks for every address",
        scene("a port scan", "arp.opcode == 1 and arp.src.hw_mac == 02:20:01:00:00:99"),
        None,
    ),
    (
        "port scan: 200 ports of web",
        scene(
            "a port scan",
            "tcp.flags.syn == 1 and tcp.flags.ack == 0 and ip.dst == 10.20.1.11 and eth.src == 02:20:01:00:00:99",
        ),
        None,
    ),
    ("port scan: refused", scene("a port scan", "tcp.flags.reset == 1 and ip.src == 10.20.1.11"), None),
    ("no lease: the visitor asks and nobody answers", scene("no lease", "dhcp.option.dhcp == 1"), None),
    ("no lease: an address of another network is denied", "dhcp.option.dhcp == 6", None),
    ("application: HTTP 404", "http.response.code == 404", None),
    ("application: HTTP 500", "http.response.code == 500", 1),
    ("application: HTTP 503", "http.response.code == 503", 1),
    ("application: HTTP 502, the program behind is gone", "http.response.code == 502", 1),
    ("application: HTTP 401, no password was sent", "http.response.code == 401", 1),
    (
        "application: web has TLS on its IPv4 address only, IPv6 is refused first",
        "tcp.srcport == 443 and ipv6 and tcp.flags.reset == 1 and tcp.seq == 1",
        None,
    ),
    ("application: TLS alert, certificate expired", "tls.alert_message.desc == 45", 1),
    ("application: TLS alert, unknown authority (self-signed)", "tls.alert_message.desc == 48", 1),
    ("application: TLS alert, version 1.1 is not spoken", "tls.alert_message.desc == 70", None),
    ("application: passwords in clear, FTP", 'ftp.request.command == "PASS"', None),
    ("application: FTP login refused", "ftp.response.code == 530", None),
    ("application: LDAP invalid credentials", "ldap.resultCode == 49", 1),
    ("application: Kerberos error", "kerberos.msg_type == 30", None),
    ("application: SMB logon failure", "smb2.nt_status == 0xc000006d", None),
    ("application: SMTP recipient refused", "smtp.response.code == 550", 1),
    ("application: passwords in clear, POP3 (Base64)", 'pop.request.command == "AUTH"', None),
    ("application: POP3 login refused", 'pop.response.indicator == "-ERR"', 1),
    ("application: passwords in clear, IMAP (Base64)", 'imap.request contains "AUTHENTICATE PLAIN"', None),
    ("application: IMAP login refused", 'imap.response contains "AUTHENTICATIONFAILED"', 1),
    ("application: MySQL access denied", "mysql.error_code == 1045", 1),
    (
        "large transfer: a megabyte to David",
        scene("a large transfer", "ip.dst == 10.20.1.104 and tcp.srcport == 80 and tcp.len > 1000"),
        None,
    ),
    ("too big: fragments", "ip.flags.mf == 1", None),
    ("too big: the router says so and names its MTU", "icmp.type == 3 and icmp.code == 4", None),
    ("too big: the public web server takes no uploads (HTTP 405)", "http.response.code == 405", None),
    ("master lost: router 2 takes over 10.20.1.1", "vrrp and ip.src == 10.20.1.3", None),
    ("master lost: the last that router 1 says", scene("the master router is lost", "vrrp and ip.src == 10.20.1.2"), None),
    ("master lost: router 1 has come back", scene("an uplink is lost", "vrrp and ip.src == 10.20.1.2"), None),
    ("uplink lost: sw2 reports a topology change", "stp.type == 0x80", None),
    ("topology changes, told by the root: since the pulled cable, and again since the lost uplink", "stp.flags.tc == 1", None),
    (
        "uplink lost: of 14 pings in 14 seconds, those that got through",
        scene("an uplink is lost", "icmp.type == 8 and ip.src == 10.20.1.101"),
        None,
    ),
    (
        "uplink lost: and their answers",
        scene("an uplink is lost", "icmp.type == 0 and ip.dst == 10.20.1.101"),
        None,
    ),
]
