"""Two minutes of an ordinary morning: what goes into office.pcapng."""
import time

from net import Play, Tap
from office import DOMAIN, PEOPLE, frr

CURL = "curl -sS -m 20 --cacert /etc/office/ca.pem -A 'OfficeBrowser/1.0' -o /dev/null "
LENGTH = 118
LINK_LOCAL_ONLY = "ether[0:4] = 0x0180c200 or ether[0:4] = 0x01000ccc or ether[0:4] = 0x00e02b00"


def taps(h, suffix):
    """Where the office is recorded; the spare uplink without the broadcasts that the first point already has."""
    return [
        Tap(h["sw1"], "br0", f"{suffix}-office"),
        Tap(h["sw1"], "uplink2", f"{suffix}-uplink2", LINK_LOCAL_ONLY),
        Tap(h["sw3"], "trunk", f"{suffix}-voice"),
        Tap(h["sw6"], "br0", f"{suffix}-lab6"),
        Tap(h["gw1"], "wan", f"{suffix}-wan"),
    ]


def pc_on(host):
    host.run("ip link set eth0 up; dhclient -1 -pf /run/dhclient.pid -lf /tmp/leases eth0", timeout=40)
    host.ready.set()
    host.run("ping -c 1 -W 2 10.20.1.1 >/dev/null; chronyd -Q -t 8 'server 10.20.1.10 iburst maxsamples 2'", timeout=15)


def things_on(host):
    host.run("ip link set eth0 up; dhclient -1 -pf /run/dhclient.pid -lf /tmp/leases eth0", timeout=40)
    host.ready.set()
    host.start("avahi", "avahi-daemon --no-drop-root --no-chroot --no-rlimits")


def anna_browses(h):
    anna = h["anna"]
    wiki = "http://wiki.office.example"
    anna.run(f"{CURL} {wiki}/ {wiki}/style.css -o /dev/null {wiki}/photo.png -o /dev/null")
    anna.run(
        f"{CURL} -L {wiki}/moved; {CURL} {wiki}/tea-rota.html; {CURL} -d 'room=3&day=monday' {wiki}/form; "
        f"{CURL} {wiki}/secret/list.txt; {CURL} -u anna:Teapot-42 {wiki}/secret/list.txt"
    )
    secure = "https://wiki.office.example"
    anna.run(f"{CURL} --tlsv1.3 --http2 {secure}/ {secure}/news.txt -o /dev/null")
    anna.run(f"{CURL} --tls-max 1.2 --http1.1 {secure}/plan.pdf --compressed")


def public_web(h):
    h["anna"].run(
        f"{CURL} -4 http://www.example.net/ http://www.example.net/photo.png -o /dev/null; "
        f"{CURL} -4 https://www.example.net/news.txt"
    )
    h["anna"].run(
        "cd /tmp && gtlsclient -q --exit-on-all-streams-close www.example.net 4433 https://www.example.net/news.txt",
        timeout=15,
    )


def certificates_that_fail(h):
    h["bruno"].run(
        f"{CURL} https://old.office.example/; {CURL} https://lab.office.example/; "
        f"{CURL} -k --tls-max 1.2 https://old.office.example/"
    )


def bruno_mails(h):
    h["bruno"].run(
        "python3 -c 'import random; open(\"/tmp/rota.pdf\",\"wb\").write(random.Random(5).randbytes(18000))'; "
        f"swaks -s mail.{DOMAIN} -f bruno@{DOMAIN} -t anna@{DOMAIN} --header 'Subject: Tea rota' --body 'See "
        "attachment.' --attach @/tmp/rota.pdf",
        timeout=40,
    )
    h["bruno"].run(
        f"swaks -s mail.{DOMAIN} -tls -f bruno@{DOMAIN} -t carla@{DOMAIN} --header 'Subject: Kettle' --body 'It is "
        "descaled.'"
    )
    h["anna"].run(
        f"curl -sS -m 20 -u anna:{PEOPLE['anna']} imap://mail.{DOMAIN}/INBOX -X 'FETCH 1:* (FLAGS BODY[HEADER.FIELDS "
        "(FROM SUBJECT)])'; "
        f"curl -sS -m 20 -u anna:{PEOPLE['anna']} 'imap://mail.{DOMAIN}/INBOX;MAILINDEX=1' -o /dev/null"
    )
    h["carla"].run(
        f"curl -sS -m 20 -u carla:{PEOPLE['carla']} pop3://mail.{DOMAIN}/; "
        f"curl -sS -u carla:{PEOPLE['carla']} pop3://mail.{DOMAIN}/1"
    )


def carla_works_with_files(h):
    carla = h["carla"]
    carla.run(
        f"cd /tmp && head -c 40000 /etc/services > notes.txt; smbclient //files.{DOMAIN}/share -U "
        f"carla%{PEOPLE['carla']} "
        "-c 'ls; get budget.xlsx; mkdir 2026; put notes.txt 2026/notes.txt; ls 2026/*'",
        timeout=40,
    )
    carla.run(
        f"ldapsearch -x -H ldap://ldap.{DOMAIN} -b dc=office,dc=example '(uid=d*)' cn mail telephoneNumber; "
        f"ldapsearch -x -H ldap://ldap.{DOMAIN} -D uid=carla,ou=people,dc=office,dc=example -w {PEOPLE['carla']} -b "
        "dc=office,dc=example uid"
    )
    carla.run(f"kinit carla && kvno host/files.{DOMAIN} && klist", stdin=PEOPLE["carla"] + "\n")
    carla.run(
        f"rpcinfo -p files.{DOMAIN}; showmount -e files.{DOMAIN}; mkdir -p /tmp/nfs; "
        f"mount -t nfs -o vers=3,nolock,proto=tcp,mountproto=udp,rsize=16384,wsize=16384 files.{DOMAIN}:/srv/nfs "
        "/tmp/nfs && "
        "ls -l /tmp/nfs && cp /tmp/nfs/model.dat /tmp/ && echo hello > /tmp/nfs/hello.txt && umount /tmp/nfs",
        timeout=40,
    )


def david_uses_terminals(h):
    david = h["david"]
    typed(
        david,
        f"telnet term.{DOMAIN}",
        [
            ("login:", "david"),
            ("Password:", PEOPLE["david"]),
            ("$", "uname -n; id; date; ls -l /etc/ssl"),
            ("$", "exit"),
        ],
    )
    typed(
        david,
        f"ssh -o StrictHostKeyChecking=no -o UserKnownHostsFile=/tmp/known david@term.{DOMAIN}",
        [("password:", PEOPLE["david"]), ("$", "cat /etc/services | head -50"), ("$", "exit")],
    )
    david.run(
        f"curl -sS -m 20 -u david:{PEOPLE['david']} ftp://files.{DOMAIN}/ ; "
        f"curl -sS -m 20 -u david:{PEOPLE['david']} "
        f"ftp://files.{DOMAIN}/budget.xlsx -o /tmp/budget.xlsx; "
        f"curl -sS -m 20 -P - -u david:{PEOPLE['david']} -T /etc/services ftp://files.{DOMAIN}/services.txt"
    )


def typed(host, command, conversation):
    """Runs a program on a terminal and types answers when its questions appear, as a person would."""
    import os
    import pty
    import select
    import subprocess

    master, slave = pty.openpty()
    process = subprocess.Popen(
        ["setsid", "-c", *host.prefix, *command.split()], stdin=slave, stdout=slave, stderr=slave
    )
    os.close(slave)
    seen, deadline = "", time.time() + 25
    waiting = list(conversation)
    while time.time() < deadline and process.poll() is None:
        if select.select([master], [], [], 0.2)[0]:
            try:
                seen += os.read(master, 4096).decode(errors="replace")
            except OSError:
                break
        if waiting and waiting[0][0] in seen:
            _, answer = waiting.pop(0)
            seen = ""
            time.sleep(0.3)
            for letter in answer + "\r":
                os.write(master, letter.encode())
                time.sleep(0.02)
    if process.poll() is None:
        process.kill()
    process.wait()
    os.close(master)
    if waiting:
        raise RuntimeError(f"{command}: still waiting for {waiting[0][0]!r}, saw {seen[-120:]!r}")


def lab6_builds(h):
    lab6a, lab6b = h["lab6a"], h["lab6b"]
    lab6a.run(
        "ping -c 3 -i 0.3 2001:db8:20:3::10; "
        + CURL
        + f"http://build6.{DOMAIN}/photo.png; "
        + CURL
        + "-k https://[2001:db8:20:3::10]/news.txt; "
        "ping -c 2 -i 0.3 2001:db8:c::10; traceroute -6 -n -q 1 -w 1 2001:db8:c::10"
    )
    typed(
        lab6b,
        f"ssh -o StrictHostKeyChecking=no -o UserKnownHostsFile=/tmp/known bruno@build6.{DOMAIN}",
        [("password:", PEOPLE["bruno"]), ("$", "ls -l /usr/bin | head -30"), ("$", "exit")],
    )


def databases(h):
    h["bruno"].run(
        "mariadb -h db.office.example -u shop -pUmbrella-3 --skip-ssl stock -e \"select count(*) from items; "
        "select * from items where price > 100 limit 40; "
        "insert into items (name, price, added) values ('Kettle', 29.90, '2026-02-01'); select nothing from items\""
    )
    h["anna"].run(
        "PGPASSWORD=Lantern-7 psql -h db.office.example -U crm crm -c 'select town, count(*) from people group by "
        "town' -c \"insert into people (name, town) "
        "values ('Person 91', 'Dale')\" -c 'select * from people limit 20' -c 'select * from nowhere'",
        timeout=20,
    )
    h["web"].run(
        "redis-cli -h db.office.example set session:17 anna ex 600; redis-cli -h db.office.example get session:17; "
        "redis-cli -h db.office.example lpush jobs backup report; redis-cli -h db.office.example incr session:17; "
        "redis-cli -h db.office.example info clients"
    )


def telephony(h):
    for name in ("phone1", "phone2"):
        h[name].run(f"tftp files.{DOMAIN} -c get phone101.cfg /tmp/phone.cfg; cd /tmp; true")
        h[name].start("baresip", "baresip -f /etc/baresip")


def call(h):
    def command(text):
        """Tells the phone what to do through its control port, which takes JSON as a netstring."""
        netstring = f"{len(text)}:{text},".encode()
        script = f"""import socket
with socket.create_connection(("127.0.0.1", 4444), 2) as phone:
    phone.sendall({netstring!r})
    print(phone.recv(2000))
"""
        h["phone1"].run("python3 -", stdin=script)

    command('{"command":"dial","params":"sip:102@10.20.2.10"}')
    time.sleep(11)
    command('{"command":"hangup"}')
    time.sleep(1)
    command('{"command":"dial","params":"sip:199@10.20.2.10"}')


def machines_talk(h):
    h["log"].run(
        "snmpwalk -v2c -c public printer.office.example 1.3.6.1.2.1.1; "
        "snmpget -v1 -c public printer.office.example 1.3.6.1.2.1.1.5.0 1.3.6.1.2.1.1.3.0; "
        "snmpbulkget -v2c -c public printer.office.example 1.3.6.1.2.1.2.2"
    )
    h["printer"].run("snmptrap -v2c -c public log.office.example '' 1.3.6.1.6.3.1.1.5.3 1.3.6.1.2.1.2.2.1.1 i 2")
    for name, text in (
        ("web", "disk 81% full"),
        ("files", "share scanned"),
        ("gw2", "interface eth0 up"),
        ("db", "backup finished"),
    ):
        h[name].run(f"logger -n 10.20.1.16 -P 514 -d -t office -p daemon.notice '{text}'")
    h["mail"].run("logger -n 10.20.1.16 -P 514 -T --octet-count -t exim -p mail.warning 'queue is empty'")
    h["gw2"].run(
        f"echo 'User-Name=anna,User-Password={PEOPLE['anna']},NAS-IP-Address=10.20.1.3' | "
        "radclient -r 1 -t 3 10.20.1.14:1812 auth Radius-Biscuit; "
        "echo 'User-Name=anna,User-Password=wrong,NAS-IP-Address=10.20.1.3' | "
        "radclient -r 1 -t 3 10.20.1.14:1812 auth Radius-Biscuit; "
        "echo 'User-Name=anna,Acct-Status-Type=Start,Acct-Session-Id=4711,NAS-IP-Address=10.20.1.3' | "
        "radclient -r 1 -t 3 10.20.1.14:1813 acct Radius-Biscuit"
    )
    h["david"].run("turnutils_stunclient stun.example.net")


def sensor(h):
    h["anna"].start("mqtt", "mosquitto_sub -h log.office.example -t 'rooms/#' -C 6 -W 60")
    time.sleep(1)
    for n in range(6):
        h["sensor"].run(f"mosquitto_pub -h log.office.example -i sensor-31 -q {n % 3} -t rooms/3/temperature -m 2{n}.5")
        time.sleep(4)


def screens(h):
    """The viewers draw on screens in memory, which were there before the recording began (see things.screens)."""
    viewer = "DISPLAY=:9 timeout {} {} >/dev/null 2>&1"
    remote_desktop = "xfreerdp /v:term.office.example /u:anna /p:Teapot-42 /cert:ignore /size:320x240 /bpp:16 /sec:tls"
    h["bruno"].run("cd /tmp && " + viewer.format(8, "xtigervncviewer -passwd vncpw term.office.example:1"), timeout=20)
    h["anna"].run(viewer.format(12, remote_desktop), timeout=20)


def all_day(h):
    """What goes on beside everything else: pages, small checks, a print job now and then."""
    wiki, people = "http://wiki.office.example", ("bruno", "carla", "david", "display")
    until = time.time() + 55
    turn = 0
    while time.time() < until:
        host = h[people[turn % 4]]
        page = ("index.html", "news.txt", "photo.png", "style.css", "small.bin")[turn % 5]
        host.run(f"{CURL} {wiki}/ {wiki}/{page} -o /dev/null {wiki}/style.css -o /dev/null", quiet=True)
        if turn % 3 == 0:
            h["carla"].run("head -c 9000 /etc/services | nc -q 1 -w 2 printer.office.example 9100", quiet=True)
        h["david"].run(f"{CURL} https://wiki.office.example/{page}", quiet=True)
        turn += 1
        time.sleep(2)


def multicast(h):
    h["display"].start("listen", "iperf -s -u -B 239.20.1.1 -i 5")
    h["phone2"].start("listen", "iperf -s -u -B 239.20.2.1 -i 5")
    time.sleep(1)
    h["files"].run("iperf -c 239.20.1.1 -u -T 8 -b 60k -l 300 -t 5")
    h["camera"].run("iperf -c 239.20.2.1 -u -T 8 -b 60k -l 300 -t 5")
    h["display"].stop("listen")
    h["phone2"].stop("listen")


def reachability(h):
    h["david"].run(
        "ping -c 4 -i 0.5 10.20.2.22; ping -c 2 2001:db8:20:3::10; traceroute -n -q 1 -w 1 198.51.100.10; "
        "ping -c 2 -s 3000 web.office.example; "
        "dig +short -x 10.20.1.13; dig +short office.example MX; dig +short _ldap._tcp.office.example SRV; "
        "dig +tcp office.example SOA; dig www.exmaple.net; "
        "arping -c 2 -I eth0 10.20.1.12",
        timeout=40,
    )
    h["branch-pc"].run(
        "ping -c 4 -i 0.5 10.20.1.13; " + CURL + "http://10.20.1.11/; traceroute -n -q 1 -w 1 10.20.1.11"
    )
    h["branch"].run("ping -c 4 -i 0.5 10.20.8.1")


def browse_services(h):
    h["carla"].run(
        "dig +time=2 +tries=1 -p 5353 @224.0.0.251 _ipp._tcp.local PTR; nmblookup -B 10.20.1.255 FILES; "
        "upnpc -l -m eth0",
        timeout=20,
    )


def play(h, notes):
    # The lab and the switches' spanning tree were up before; the second router and the PCs come up while it records.
    recording = taps(h, "tour") + [
        Tap(h["gw1"], "any", "tour-any", "not (tcp port 22 or port 4433)", "LINUX_SLL2"),
        Tap(h["gw1"], "eth1", "tour-gw1-vlan"),
    ]
    run = Play(notes)
    run.at(0, "router 1 starts", lambda: frr(h["gw1"], "ospfd", "bgpd", "vrrpd"))
    run.at(6, "router 2 starts", lambda: frr(h["gw2"], "ospfd", "vrrpd"))
    for second, name in ((9, "anna"), (11, "bruno"), (13, "carla"), (15, "david"), (40, "guest")):
        run.at(second, f"{name} switches on", lambda name=name: pc_on(h[name]))
    run.at(12, "printer switches on", lambda: things_on(h["printer"]))
    run.at(17, "meeting-room screen switches on", lambda: things_on(h["display"]))
    run.at(22, "anna reads the intranet", lambda: anna_browses(h), needs=[h["anna"]])
    run.at(
        46,
        "pages and prints beside everything else",
        lambda: all_day(h),
        needs=[h["bruno"], h["carla"], h["david"], h["display"], h["printer"]],
    )
    run.at(26, "phones register", lambda: telephony(h))
    run.at(31, "bruno and the mail", lambda: bruno_mails(h), needs=[h["anna"], h["bruno"], h["carla"]])
    run.at(38, "carla and the files", lambda: carla_works_with_files(h), needs=[h["carla"]])
    run.at(44, "databases", lambda: databases(h), needs=[h["anna"], h["bruno"]])
    run.at(48, "david on terminals", lambda: david_uses_terminals(h), needs=[h["david"]])
    run.at(52, "room sensor", lambda: sensor(h), needs=[h["anna"]])
    run.at(56, "a call from 101 to 102", lambda: call(h))
    run.at(60, "IPv6 lab", lambda: lab6_builds(h))
    run.at(68, "multicast", lambda: multicast(h), needs=[h["display"]])
    run.at(76, "SNMP, syslog, RADIUS, STUN", lambda: machines_talk(h), needs=[h["printer"], h["david"]])
    run.at(82, "the public web", lambda: public_web(h))
    run.at(70, "RDP and VNC", lambda: screens(h))
    run.at(88, "certificates that fail", lambda: certificates_that_fail(h))
    run.at(92, "pings, traces, tunnels", lambda: reachability(h))
    run.at(100, "looking for services", lambda: browse_services(h))
    run.finish(LENGTH)
    for tap in recording:
        tap.close()
