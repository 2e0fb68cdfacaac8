"""Protocols that an ordinary office does not speak, recorded on a bench: two routers on one cable, apart from the rest."""
from net import Host, Tap, cable
from office import frr


def build(h):
    a, b = Host("bench1", "router on the test bench"), Host("bench2", "router on the test bench")
    cable(a, "eth0", b, "eth0", "02:20:50:00:00:01", "02:20:50:00:00:02")
    for number, host in ((1, a), (2, b)):
        host.run(
            "sysctl -qw net.ipv4.ip_forward=1 net.ipv6.conf.all.forwarding=1; "
            f"ip addr add 10.20.50.{number}/24 dev eth0; "
            f"ip addr add 2001:db8:20:50::{number}/64 dev eth0 nodad; ip addr add 10.20.5{number}.1/24 dev lo; "
            f"ip addr add 2001:db8:20:5{number}::1/64 dev lo; ip link set eth0 up"
        )
        other = 3 - number
        host.write(
            "/etc/frr/frr.conf",
            f"""frr defaults traditional
log file /tmp/frr.log
hostname bench{number}
interface eth0
 ip router isis 1
 isis circuit-type level-1
 isis hello-interval 2
 ipv6 ospf6 area 0
 ipv6 ospf6 hello-interval 4
 ip pim
 ip igmp
interface lo
 ip router isis 1
 ipv6 ospf6 area 0
router isis 1
 net 49.0001.0000.0000.000{number}.00
 is-type level-1
router ospf6
 ospf6 router-id 10.20.50.{number}
router rip
 network eth0
 network lo
 timers basic 5 30 30
router ripng
 network eth0
 network lo
 timers basic 5 30 30
router eigrp 7
 network 10.20.50.0/24
 network 10.20.5{number}.0/24
bfd
 peer 10.20.50.{other} interface eth0
  no shutdown
""",
        )


def schedule(run, h, second):
    a, b = h["bench1"], h["bench2"]
    run.in_turn(
        second,
        [
            (
                "bench: routing protocols",
                lambda: [frr(host, "isisd", "ospf6d", "ripd", "ripngd", "eigrpd", "pimd", "bfdd") for host in (a, b)],
            ),
            ("bench: DHCPv6", lambda: leases(a, b)),
            ("bench: 802.1X", lambda: port_access(a, b)),
            ("bench: SCTP and DTLS", lambda: transports(a, b)),
        ],
    )


def leases(a, b):
    a.write(
        "/etc/dhcp/dhcpd6.conf",
        "default-lease-time 600;\nsubnet6 2001:db8:20:50::/64 {\n range6 2001:db8:20:50::100 2001:db8:20:50::1ff;\n"
        " option dhcp6.name-servers 2001:db8:20:1::10;\n option dhcp6.domain-search \"office.example\";\n}\n",
    )
    a.run(": > /var/lib/dhcp/dhcpd6.leases")
    a.start("dhcpd6", "dhcpd -6 -f -cf /etc/dhcp/dhcpd6.conf -pf /run/dhcpd6.pid -lf /var/lib/dhcp/dhcpd6.leases eth0")
    b.run(
        "sleep 1; timeout 8 dhclient -6 -1 -pf /run/dhclient6.pid -lf /tmp/leases6 eth0; "
        "timeout 5 dhclient -6 -r -pf /run/dhclient6.pid -lf /tmp/leases6 eth0",
        timeout=20,
    )


def port_access(a, b):
    a.write(
        "/etc/hostapd/wired.conf",
        "driver=wired\ninterface=eth0\nieee8021x=1\neap_server=1\neap_user_file=/etc/hostapd/users\nuse_pae_group_addr=1\n",
    )
    a.write("/etc/hostapd/users", '"anna" MD5 "Teapot-42"\n"bruno" MD5 "Lantern-7"\n')
    a.start("hostapd", "hostapd /etc/hostapd/wired.conf")
    for password in ("Teapot-42", "wrong"):
        b.write(
            "/tmp/wired.conf",
            'ctrl_interface=/run/wpa\nap_scan=0\nnetwork={\n key_mgmt=IEEE8021X\n eap=MD5\n identity="anna"\n '
            f'password="{password}"\n eapol_flags=0\n}}\n',
        )
        b.run("sleep 1; timeout 5 wpa_supplicant -i eth0 -D wired -c /tmp/wired.conf", timeout=12)


def transports(a, b):
    a.start("sctp", "ncat --sctp -l 10.20.50.1 9899 --send-only -i 5 < /etc/services")
    a.start(
        "dtls",
        "openssl s_server -dtls1_2 -accept 10.20.50.1:4433 -cert /etc/office/www.pem -key /etc/office/www.key -quiet",
    )
    b.run(
        "sleep 1; timeout 4 ncat --sctp 10.20.50.1 9899 | head -c 8000 >/dev/null; "
        "(sleep 1; echo hello over datagrams; sleep 1) | timeout 5 openssl s_client -dtls1_2 -connect "
        "10.20.50.1:4433 -quiet",
        timeout=15,
    )


def nfs4(h):
    h["carla"].run(
        "mkdir -p /tmp/nfs4; mount -t nfs -o vers=4.2,rsize=16384,wsize=16384 files.office.example:/nfs /tmp/nfs4 && "
        "ls /tmp/nfs4 && "
        "head -c 20000 /tmp/nfs4/model.dat > /tmp/part && echo four > /tmp/nfs4/four.txt && umount /tmp/nfs4",
        timeout=30,
    )


def bench_tap(h):
    return Tap(h["bench1"], "eth0", "trouble-bench")
