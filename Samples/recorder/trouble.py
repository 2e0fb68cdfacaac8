"""A bad day, made on purpose: what goes into trouble.pcapng. Each fault stands alone, so that it can be found."""
import signal
import time

import more
from net import Play, Tap
from office import DOMAIN, PEOPLE, frr
from tour import CURL, taps


# Waits until a download has begun; how long a program takes to start is the machine's affair.
BEGUN = "for n in $(seq 100); do ss -Htn state established dport = :80 | grep -q . && break; sleep 0.1; done; sleep 1"


def impaired(host, port, how, action, notes, name):
    """Spoils a cable for as long as an action lasts; the queue's own counters are noted."""
    host.run(f"tc qdisc add dev {port} root netem {how}", check=True)
    try:
        action()
    finally:
        notes.append(
            {
                "impairment": name,
                "where": f"{host.name} {port}",
                "netem": how,
                "counters": host.run(f"tc -s qdisc show dev {port}").split("\n", 1)[1].strip(),
            }
        )
        host.run(f"tc qdisc del dev {port} root")


def stops_reading(h):
    """Carla's browser is paused: her machine's buffer fills, its window closes, and the server has to probe."""
    h["carla"].run(
        "sysctl -qw net.ipv4.tcp_rmem='4096 16384 16384'; "
        f"{CURL} -4 http://wiki.office.example/slow/plan.pdf & curl=$!; " + BEGUN + "; kill -STOP $curl; "
        "sleep 4; kill -CONT $curl; wait; sysctl -qw net.ipv4.tcp_rmem='4096 131072 6291456'"
    )


def killed(h):
    h["anna"].start("download", CURL + "-4 http://wiki.office.example/slow/plan.pdf")
    h["anna"].run(BEGUN)
    h["web"].stop("nginx", signal.SIGKILL)
    time.sleep(1)
    h["anna"].run(f"{CURL} http://wiki.office.example/")
    h["web"].start("nginx", "nginx -c /etc/nginx/office.conf")
    h["anna"].stop("download")


def cable_pulled(h):
    h["bruno"].start("download", CURL + "-4 http://wiki.office.example/slow/plan.pdf")
    h["bruno"].run(BEGUN)
    h["bruno"].run("ip link set eth0 down")
    time.sleep(7)
    h["bruno"].stop("download", signal.SIGKILL)
    h["bruno"].run("ip link set eth0 up; ip route add default via 10.20.1.1")


def nobody_there(h):
    h["david"].run("ping -c 3 -i 0.4 -W 4 10.20.2.99 & ping -c 2 -W 1 10.99.0.1 & ping -c 2 -W 1 10.20.1.77 & wait")
    h["david"].run(f"{CURL} -m 3 smtp://198.51.100.10/")
    h["david"].run(
        f"{CURL} http://web.office.example:8888/; nc -zv -w 2 10.20.1.15 27017; "
        "dig +time=1 +tries=1 @10.20.1.11 wiki.office.example"
    )


def wrong_names(h):
    david = h["david"]
    david.run(
        "dig +short wiki.ofice.example; dig +short intranet.office.example; dig +short AAAA files.office.example; "
        "dig +short broken.example; dig axfr office.example @10.20.1.10"
    )
    named = h["ns1"].daemons["named"]
    named.send_signal(signal.SIGSTOP)
    david.start("dig", "dig +time=2 +tries=2 mail.office.example")
    time.sleep(2.6)
    named.send_signal(signal.SIGCONT)


def same_address_twice(h):
    guest = h["guest"]
    h["anna"].start("ping", "ping -c 12 -i 0.4 10.20.1.13")
    time.sleep(1)
    guest.run(
        "ip addr add 10.20.1.13/24 dev eth0; arping -c 3 -U -I eth0 10.20.1.13; sleep 0.5; "
        "ip addr del 10.20.1.13/24 dev eth0"
    )
    h["files"].run("arping -c 1 -U -I eth0 10.20.1.13")
    guest.run(
        "ip -6 addr add 2001:db8:20:1::11/64 dev eth0; sleep 1.5; ip -6 addr show dev eth0; "
        "ip -6 addr del 2001:db8:20:1::11/64 dev eth0"
    )


def loop(h):
    h["gw1"].run("ip route add 203.0.113.128/25 via 192.0.2.2")
    h["isp"].run("ip route add 203.0.113.128/25 via 192.0.2.1")
    h["www"].run("ping -c 2 -t 20 -W 1 203.0.113.200")
    h["isp"].run("ip route del 203.0.113.128/25 via 192.0.2.1")
    h["gw1"].run("ip route del 203.0.113.128/25 via 192.0.2.2")


def leases(h):
    ns1, guest = h["ns1"], h["guest"]
    ns1.stop("dhcpd")
    guest.run(
        "kill $(cat /run/dhclient.pid); ip addr flush dev eth0 scope global; rm -f /tmp/leases; "
        "echo 'timeout 9; retry 30; initial-interval 2; backoff-cutoff 4;' > /tmp/dhclient.conf; "
        "timeout 12 dhclient -1 -cf /tmp/dhclient.conf -pf /run/dhclient.pid -lf /tmp/leases eth0",
        timeout=20,
    )
    ns1.start("dhcpd", "dhcpd -f -4 -pf /run/dhcpd.pid -lf /var/lib/dhcp/dhcpd.leases eth0")
    time.sleep(1)
    guest.write(
        "/tmp/leases",
        """lease { interface "eth0"; fixed-address 172.16.0.9; option subnet-mask 255.255.255.0;
  option dhcp-lease-time 86400; option dhcp-server-identifier 172.16.0.1;
  renew 6 2037/01/01 00:00:00; rebind 6 2037/01/02 00:00:00; expire 6 2037/01/03 00:00:00; }\n""",
    )
    guest.run("timeout 15 dhclient -1 -pf /run/dhclient.pid -lf /tmp/leases eth0", timeout=20)


def refused_by_the_application(h):
    h["anna"].run(
        f"for page in nothing.html broken busy app secret/list.txt; do {CURL} http://wiki.office.example/$page; done"
    )
    h["bruno"].run(
        f"{CURL} --tls-max 1.2 https://old.office.example/; {CURL} --tls-max 1.2 https://lab.office.example/; "
        "echo | openssl s_client -connect web.office.example:443 -tls1_1 -cipher ALL@SECLEVEL=0 2>&1 | head -5"
    )
    h["carla"].run(
        f"curl -sS -u david:wrong ftp://files.{DOMAIN}/; ldapsearch -x -H ldap://ldap.{DOMAIN} -D "
        "uid=carla,ou=people,dc=office,dc=example "
        "-w wrong -b dc=office,dc=example uid; echo wrong | kinit carla; "
        f"smbclient //files.{DOMAIN}/share -U carla%wrong -c ls; "
        f"swaks -s mail.{DOMAIN} -f carla@{DOMAIN} -t nobody@{DOMAIN} --body x >/dev/null; "
        f"curl -sS -u carla:wrong pop3://mail.{DOMAIN}/; "
        f"curl -sS -u carla:wrong imap://mail.{DOMAIN}/; mariadb -h db.{DOMAIN} -u shop -pwrong --skip-ssl stock -e "
        "'select 1'",
        timeout=40,
    )


def too_big(h):
    h["anna"].run("ping -4 -c 2 -i 0.3 -s 4000 web.office.example")
    h["gw1"].run("ip link set wan mtu 1400")
    h["anna"].run(
        f"ping -4 -c 2 -i 0.3 -M do -s 1440 198.51.100.10; {CURL} -4 -T /etc/services http://www.example.net/upload"
    )
    h["gw1"].run("ip link set wan mtu 1500")


def master_lost(h):
    h["gw1"].run("kill $(cat /run/frr/vrrpd.pid)")
    h["anna"].run("ping -c 8 -i 0.7 -W 1 10.20.1.1", timeout=20)
    frr(h["gw1"], "vrrpd")


def uplink_lost(h):
    h["sw1"].run("ip link set uplink1 down")
    h["anna"].run("ping -c 14 -i 1 -W 1 10.20.1.11", timeout=25)


def faults(h, notes):
    fetch = f"{CURL} -4 http://wiki.office.example/plan.pdf"
    anna, bruno, carla, david, guest = (h[name] for name in ("anna", "bruno", "carla", "david", "guest"))
    ftp = f"curl -sS -u david:{PEOPLE['david']} ftp://files.{DOMAIN}/budget.xlsx -o /tmp/copy.xlsx"
    scan = "nmap -n -sn -T4 --max-retries 1 10.20.1.0/26; nmap -n -Pn -sS -T4 --max-retries 1 -p 1-200 10.20.1.11"

    def slow_pages():
        bruno.run(f"ping -c 2 10.20.1.17; {CURL} http://term.office.example:8081/news.txt")
        carla.run(f"{CURL} http://wiki.office.example/late/news.txt")

    return [
        ("an ordinary minute", lambda: anna.run(f"ping -c 3 -i 0.3 10.20.1.11; {CURL} http://wiki.office.example/")),
        ("loss", lambda: impaired(h["sw2"], "anna", "loss 5%", lambda: anna.run(f"{fetch}; {fetch}"), notes, "loss")),
        ("delay", lambda: impaired(h["term"], "eth0", "delay 300ms 20ms", slow_pages, notes, "delay")),
        (
            "duplication",
            lambda: impaired(h["files"], "eth0", "duplicate 25%", lambda: david.run(ftp), notes, "duplication"),
        ),
        (
            "reordering",
            lambda: impaired(h["web"], "eth0", "delay 2ms reorder 30%", lambda: carla.run(fetch), notes, "reordering"),
        ),
        ("a receiver stops reading", lambda: stops_reading(h)),
        ("a server is killed in mid-transfer", lambda: killed(h)),
        ("a cable is pulled in mid-transfer", lambda: cable_pulled(h)),
        ("nobody there", lambda: nobody_there(h)),
        ("wrong names", lambda: wrong_names(h)),
        ("one address twice", lambda: same_address_twice(h)),
        ("a routing loop", lambda: loop(h)),
        ("a port scan", lambda: guest.run(scan, timeout=20)),
        ("no lease", lambda: leases(h)),
        ("refused by the application", lambda: refused_by_the_application(h)),
        ("a large transfer", lambda: david.run(f"{CURL} -4 http://wiki.office.example/image.iso")),
        ("NFS version 4, which is no trouble", lambda: more.nfs4(h)),
        ("packets too big", lambda: too_big(h)),
        ("the master router is lost", lambda: master_lost(h)),
        ("an uplink is lost", lambda: uplink_lost(h)),
    ]


def play(h, notes):
    recording = taps(h, "trouble") + [Tap(h["anna"], "eth0", "trouble-anna"), more.bench_tap(h)]
    run = Play(notes)
    run.in_turn(1, faults(h, notes))
    more.schedule(run, h, 20)
    run.finish(0)
    for tap in recording:
        tap.close()
