"""The office: who is there, how the cables run, and what each machine serves."""
from net import Host, Switch, cable, sh

DOMAIN = "office.example"
REALM = "OFFICE.EXAMPLE"
PEOPLE = {"anna": "Teapot-42", "bruno": "Lantern-7", "carla": "Biscuit-19", "david": "Umbrella-3"}

# name, role, last octet in 10.20.1.0/24 (also its reservation where it asks for a lease), switch
OFFICE = [
    ("ns1", "name server (BIND), DHCP server, time server (chrony)", 10, "sw1"),
    ("web", "intranet web server (nginx: HTTP, HTTP/2, TLS 1.2 and 1.3)", 11, "sw1"),
    ("mail", "mail server (Exim SMTP, Dovecot POP3 and IMAP)", 12, "sw1"),
    ("files", "file server (Samba, NFS, FTP, TFTP)", 13, "sw1"),
    ("dir", "directory (OpenLDAP), Kerberos KDC, RADIUS server", 14, "sw1"),
    ("db", "databases (MariaDB, PostgreSQL, Redis)", 15, "sw1"),
    ("log", "syslog server, SNMP trap receiver, MQTT broker", 16, "sw1"),
    ("term", "terminal server (RDP, VNC, Telnet, SSH)", 17, "sw1"),
    ("anna", "Anna's PC", 101, "sw2"),
    ("bruno", "Bruno's PC", 102, "sw2"),
    ("carla", "Carla's PC", 103, "sw2"),
    ("david", "David's PC", 104, "sw2"),
    ("printer", "network printer (mDNS, SNMP agent)", 120, "sw2"),
    ("display", "meeting-room screen (mDNS, multicast receiver)", 121, "sw2"),
    ("guest", "a visitor's laptop (dynamic lease, no reservation)", None, "sw2"),
]
LEASED = {"anna", "bruno", "carla", "david", "printer", "display", "guest"}
VOICE = [
    ("pbx", "SIP server (Kamailio)", 10, "sw3"),
    ("phone1", "desk phone 101 (baresip)", 21, "sw3"),
    ("phone2", "desk phone 102 (baresip)", 22, "sw4"),
    ("camera", "camera, multicast sender", 30, "sw4"),
    ("sensor", "room sensor (MQTT client)", 31, "sw4"),
]
SIX = [
    ("build6", "IPv6-only build server (nginx, SSH)", 0x10),
    ("lab6a", "IPv6-only lab PC (SLAAC)", None),
    ("lab6b", "IPv6-only lab PC (SLAAC)", None),
]
mac_office = "02:20:01:00:00:{:02x}".format
mac_voice = "02:20:02:00:00:{:02x}".format
mac_six = "02:20:03:00:00:{:02x}".format
mac_wan = "02:20:99:00:00:{:02x}".format


def build():
    # Sessions are not to wait for a login manager that no machine of the office runs.
    sh("sed", "-i", "/pam_systemd/d", "/etc/pam.d/common-session")
    for name, password in PEOPLE.items():
        sh("useradd", "-m", "-s", "/bin/bash", name)
        sh("chpasswd", input=f"{name}:{password}\n")
    h = Host.all
    Switch("sw1", "core switch, spanning-tree root", "02:20:01:00:01:01", stp=True, priority=4096)
    Switch("sw2", "floor switch", "02:20:01:00:01:02", stp=True)
    Switch("sw3", "voice switch, VLAN 20", "02:20:02:00:01:03", vlans=True)
    Switch("sw4", "voice switch, VLAN 20", "02:20:02:00:01:04", vlans=True)
    Switch("sw6", "lab switch, IPv6 only", "02:20:03:00:01:06")
    for n, link in enumerate(("uplink1", "uplink2")):
        cable(h["sw1"], link, h["sw2"], link, f"02:20:01:00:02:1{n}", f"02:20:01:00:02:2{n}")
        h["sw1"].port(link)
        h["sw2"].port(link)
    cable(h["sw3"], "trunk", h["sw4"], "trunk", "02:20:02:00:02:13", "02:20:02:00:02:14")
    h["sw3"].port("trunk", trunk=[20])
    h["sw4"].port("trunk", trunk=[20])
    sh("sysctl", "-qw", "net.ipv6.conf.default.accept_dad=1")
    for name, text in (
        ("gw1", "router 1 (FRR: OSPF, BGP, VRRP, router advertisements; NAT towards the provider)"),
        ("gw2", "router 2 (FRR: OSPF, VRRP backup)"),
        ("isp", "provider's router (FRR BGP, BIND)"),
        ("www", "public web server (nginx, QUIC, STUN)"),
        ("branch", "branch router (GRE and VXLAN end)"),
        ("branch-pc", "PC in the branch"),
    ):
        Host(name, text)
    for name, text, octet, switch in OFFICE:
        host = Host(name, text)
        number = octet or 0x99
        cable(host, "eth0", h[switch], name, mac_office(number), f"02:20:01:00:03:{number:02x}")
        h[switch].port(name)
        if name not in LEASED:
            static(host, f"10.20.1.{octet}/24", "10.20.1.1")
    for name, text, octet, switch in VOICE:
        host = Host(name, text)
        cable(host, "eth0", h[switch], name, mac_voice(octet), f"02:20:02:00:03:{octet:02x}")
        h[switch].port(name, access=20)
        static(host, f"10.20.2.{octet}/24", "10.20.2.1")
    for number, (name, text, fixed) in enumerate(SIX):
        host = Host(name, text)
        cable(host, "eth0", h["sw6"], name, mac_six(fixed or 0x20 + number), f"02:20:03:00:03:{number + 1:02x}")
        h["sw6"].port(name)
        address = f"ip addr add 2001:db8:20:3::{fixed:x}/64 dev eth0 nodad; " if fixed else ""
        host.run(f"{address}ip link set eth0 up")
        host.write("/etc/resolv.conf", f"search {DOMAIN}\nnameserver 2001:db8:20:1::10\n")
    h["ns1"].run("ip addr add 2001:db8:20:1::10/64 dev eth0 nodad")
    h["web"].run("ip addr add 2001:db8:20:1::11/64 dev eth0 nodad")
    routers(h)
    management(h)


def static(host, address, gateway):
    host.run(f"ip addr add {address} dev eth0 && ip link set eth0 up && ip route add default via {gateway}", check=True)
    host.write("/etc/resolv.conf", f"search {DOMAIN}\nnameserver 10.20.1.10\n")


def routers(h):
    gw1, gw2, isp, www, branch, branch_pc = (h[n] for n in ("gw1", "gw2", "isp", "www", "branch", "branch-pc"))
    for number, gw in ((2, gw1), (3, gw2)):
        cable(gw, "eth0", h["sw1"], gw.name, mac_office(number), f"02:20:01:00:03:{number:02x}")
        h["sw1"].port(gw.name)
        gw.run(
            "sysctl -qw net.ipv4.ip_forward=1 net.ipv6.conf.all.forwarding=1 net.ipv4.conf.all.rp_filter=0 "
            "net.ipv4.conf.default.rp_filter=0 net.ipv4.conf.all.send_redirects=1"
        )
        gw.run(
            f"ip addr add 10.20.1.{number}/24 dev eth0; ip addr add 2001:db8:20:1::{number}/64 dev eth0 nodad; "
            f"ip addr add 10.20.255.{number}/32 dev lo; ip link set eth0 up",
            check=True,
        )
        # VRRP answers from the virtual router's own address, which Linux gives to a second device on the same wire.
        gw.run(
            "ip link add vrrp4-2-1 link eth0 type macvlan mode bridge; "
            "sysctl -qw net.ipv6.conf.vrrp4-2-1.disable_ipv6=1; "
            "ip link set vrrp4-2-1 address 00:00:5e:00:01:05; ip addr add 10.20.1.1/24 dev vrrp4-2-1; "
            "sysctl -qw net.ipv4.conf.eth0.ignore_routes_with_linkdown=1 net.ipv4.conf.all.arp_ignore=1 "
            "net.ipv4.conf.all.arp_announce=2; ip link set vrrp4-2-1 up"
        )
    cable(gw1, "eth1", h["sw3"], "gw1", mac_voice(1), "02:20:02:00:03:01")
    h["sw3"].port("gw1", trunk=[20])
    gw1.run(
        "ip link set eth1 up; ip link add link eth1 name eth1.20 type vlan id 20; "
        "ip addr add 10.20.2.1/24 dev eth1.20; ip link set eth1.20 up",
        check=True,
    )
    cable(gw1, "eth2", h["sw6"], "gw1", mac_six(1), "02:20:03:00:03:f1")
    h["sw6"].port("gw1")
    gw1.run("ip addr add 2001:db8:20:3::1/64 dev eth2 nodad; ip link set eth2 up", check=True)
    cable(gw1, "wan", isp, "cust", mac_wan(1), mac_wan(2))
    gw1.run(
        "ip addr add 192.0.2.1/30 dev wan; ip addr add 2001:db8:ff::1/64 dev wan nodad; ip link set wan up; "
        "ip -6 route add default via 2001:db8:ff::2",
        check=True,
    )
    isp.run(
        "sysctl -qw net.ipv4.ip_forward=1 net.ipv6.conf.all.forwarding=1; ip link set cust up; "
        "ip addr add 192.0.2.2/30 dev cust; ip addr add 2001:db8:ff::2/64 dev cust nodad; "
        "ip -6 route add 2001:db8:20::/48 via 2001:db8:ff::1",
        check=True,
    )
    cable(isp, "www", www, "eth0", mac_wan(0x11), mac_wan(0x10))
    isp.run(
        "ip addr add 198.51.100.1/24 dev www; ip addr add 2001:db8:c::1/64 dev www nodad; ip link set www up",
        check=True,
    )
    static(www, "198.51.100.10/24", "198.51.100.1")
    www.run("ip addr add 2001:db8:c::10/64 dev eth0 nodad; ip -6 route add default via 2001:db8:c::1")
    www.write("/etc/resolv.conf", "nameserver 198.51.100.1\n")
    cable(isp, "branch", branch, "wan", mac_wan(0x21), mac_wan(0x20))
    isp.run("ip addr add 203.0.113.1/24 dev branch; ip link set branch up", check=True)
    branch.run(
        "sysctl -qw net.ipv4.ip_forward=1; ip addr add 203.0.113.2/24 dev wan; ip link set wan up; "
        "ip route add default via 203.0.113.1",
        check=True,
    )
    cable(branch, "eth0", branch_pc, "eth0", "02:20:09:00:00:01", "02:20:09:00:00:0a")
    branch.run("ip addr add 10.20.9.1/24 dev eth0; ip link set eth0 up", check=True)
    static(branch_pc, "10.20.9.10/24", "10.20.9.1")
    for end, local, remote, inner, far in (
        (gw1, "192.0.2.1", "203.0.113.2", 1, "10.20.9.0/24"),
        (branch, "203.0.113.2", "192.0.2.1", 2, "10.20.0.0/16"),
    ):
        end.run(
            f"ip tunnel add gre1 mode gre local {local} remote {remote} ttl 64 key 5020; "
            f"ip addr add 10.255.0.{inner}/30 dev gre1; ip link set gre1 up; ip route add {far} dev gre1; "
            f"ip link add vx1 address 02:20:08:00:00:0{inner} type vxlan id 5020 dstport 4789 local {local} remote "
            f"{remote}; "
            f"ip addr add 10.20.8.{inner}/24 dev vx1; ip link set vx1 up",
            check=True,
        )
    gw1.run(
        "iptables-legacy -t nat -A POSTROUTING -o wan -s 10.20.0.0/16 -j MASQUERADE && iptables-legacy -A FORWARD "
        "-d 198.51.100.10 -p tcp --dport 25 -j REJECT --reject-with icmp-admin-prohibited",
        check=True,
    )
    frr_common = "frr defaults traditional\nlog file /tmp/frr.log\nservice integrated-vtysh-config\n"
    gw1.write(
        "/etc/frr/frr.conf",
        frr_common
        + """hostname gw1
interface eth0
 ip ospf area 0
 ip ospf dead-interval 20
 ip ospf hello-interval 5
 no ipv6 nd suppress-ra
 ipv6 nd ra-interval 15
 ipv6 nd prefix 2001:db8:20:1::/64
 ipv6 nd rdnss 2001:db8:20:1::10
 vrrp 5 version 3
 vrrp 5 priority 200
 vrrp 5 advertisement-interval 1000
 vrrp 5 ip 10.20.1.1
interface eth2
 no ipv6 nd suppress-ra
 ipv6 nd ra-interval 20
 ipv6 nd prefix 2001:db8:20:3::/64
 ipv6 nd rdnss 2001:db8:20:1::10
interface lo
 ip ospf area 0
interface eth1.20
 ip ospf area 0
 ip ospf passive
router ospf
 ospf router-id 10.20.255.2
router bgp 64500
 bgp router-id 192.0.2.1
 no bgp ebgp-requires-policy
 timers bgp 10 30
 neighbor 192.0.2.2 remote-as 64501
 neighbor 192.0.2.2 timers connect 5
 address-family ipv4 unicast
  network 192.0.2.0/30
  neighbor 192.0.2.2 activate
""",
    )
    gw2.write(
        "/etc/frr/frr.conf",
        frr_common
        + """hostname gw2
interface eth0
 ip ospf area 0
 ip ospf dead-interval 20
 ip ospf hello-interval 5
 vrrp 5 version 3
 vrrp 5 priority 100
 vrrp 5 advertisement-interval 1000
 vrrp 5 ip 10.20.1.1
interface lo
 ip ospf area 0
router ospf
 ospf router-id 10.20.255.3
""",
    )
    isp.write(
        "/etc/frr/frr.conf",
        frr_common
        + """hostname isp
router bgp 64501
 bgp router-id 192.0.2.2
 no bgp ebgp-requires-policy
 timers bgp 10 30
 neighbor 192.0.2.1 remote-as 64500
 neighbor 192.0.2.1 timers connect 5
 address-family ipv4 unicast
  network 198.51.100.0/24
  network 203.0.113.0/24
  neighbor 192.0.2.1 activate
""",
    )


def frr(host, *daemons):
    host.run("mkdir -p /run/frr && chown frr:frr /run/frr /etc/frr && : > /etc/frr/vtysh.conf")
    if not host.run("ls /run/frr/zebra.pid 2>/dev/null", quiet=True).strip():
        daemons = ("zebra", *daemons)
    for daemon in daemons:
        host.run(f"/usr/lib/frr/{daemon} -d -A 127.0.0.1", check=True)
    host.run("vtysh -b")


def management(h):
    """Switches have addresses of their own, as managed switches do, and tell their neighbours who they are."""
    for name, octet in (("sw1", 201), ("sw2", 202)):
        h[name].run(f"ip addr add 10.20.1.{octet}/24 dev br0; ip route add default via 10.20.1.1")
    for name in ("sw1", "sw2", "sw3", "sw4", "gw1", "gw2", "files"):
        host = h[name]
        kind = "bridge" if name.startswith("sw") else "router" if name.startswith("gw") else "station"
        ports = "*,!vrrp*,!gre*,!erspan*,!vx*,!sit*,!ip6*" if kind != "bridge" else "*,!br0"
        host.write(
            "/etc/lldpd.d/office.conf",
            f"configure system description 'Office {kind} {name}'\nconfigure lldp tx-interval 10\n"
            f"configure system platform 'office-{kind}'\nconfigure system interface pattern {ports}\n"
            f"configure system hostname {name}.{DOMAIN}\n",
        )


def lldp(*hosts):
    for host in hosts:
        host.run("mkdir -p /run/lldpd && chown _lldpd:_lldpd /run/lldpd")
        # -e: no kernel release in the description; -c: the older neighbour protocol too where a device speaks it
        host.start("lldpd", "lldpd -d -e" + (" -c -c" if host.name in ("gw1", "sw1") else ""))


def describe():
    """Everything the answer key says about the machines, read back from them: each port that has addresses, and of the
    switches the ports between them, whose MACs their neighbours see."""
    told = []
    for host in Host.all.values():
        ports = []
        for link in host.addresses():
            addresses = [entry["local"] for entry in link["addr_info"]]
            between_switches = link["ifname"].startswith(("uplink", "trunk"))
            if link["ifname"] != "lo" and link.get("link_type") in ("ether", "gre") and (addresses or between_switches):
                ports.append({"port": link["ifname"], "mac": link["address"], "addresses": addresses})
        told.append({"name": host.name, "role": host.role, "ports": ports})
    return told
