"""Starts everything that is served; here are the certificates, the names and the leases, which the others rest on."""
import accounts
import pages
import things
from net import sh
from office import DOMAIN, REALM, frr, lldp


def certificates():
    """An authority of the office's own; one certificate ended a year ago and one vouches for itself."""
    sh("mkdir", "-p", "/etc/office")
    sh(
        "bash",
        "-ec",
        """
cd /etc/office
ec() { openssl ecparam -name prime256v1 -genkey -noout -out "$1.key"; }
ec ca; openssl req -x509 -new -key ca.key -subj "/O=Office Example/CN=Office Example CA" -days 3650 -out ca.pem
touch index.txt; echo 1001 > serial
printf '[ca]\\ndefault_ca=d\\n[d]\\ndatabase=index.txt\\nserial=serial\\nnew_certs_dir=.\\ndefault_md=sha256\\npolicy=p\\n
unique_subject=no\\ncopy_extensions=copy\\n[p]\\norganizationName=optional\\ncommonName=supplied\\n' > ca.cnf
issue() {
  ec "$1"
  openssl req -new -key "$1.key" -subj "/O=Office Example/CN=$2" -addext "subjectAltName=DNS:$2" -out "$1.csr"
  openssl ca -batch -notext -config ca.cnf -cert ca.pem -keyfile ca.key -in "$1.csr" -out "$1.pem" -startdate "$3" -enddate "$4"
}
from=$(date -u -d '30 days ago' +%Y%m%d%H%M%SZ); to=$(date -u -d '700 days' +%Y%m%d%H%M%SZ)
issue wiki wiki.office.example "$from" "$to"
issue mail mail.office.example "$from" "$to"
issue www www.example.net "$from" "$to"
issue old old.office.example "$(date -u -d '800 days ago' +%Y%m%d%H%M%SZ)" "$(date -u -d '400 days ago' +%Y%m%d%H%M%SZ)"
ec self
openssl req -x509 -new -key self.key -subj "/CN=lab.office.example" -days 365 -addext "subjectAltName=DNS:lab.office.example" -out self.pem
chmod 644 *.key
""",
    )


def names(h):
    hosts = {
        **{
            n: f"10.20.1.{o}"
            for n, o in dict(
                ns1=10,
                web=11,
                mail=12,
                files=13,
                dir=14,
                db=15,
                log=16,
                term=17,
                gw1=2,
                gw2=3,
                anna=101,
                bruno=102,
                carla=103,
                david=104,
                printer=120,
                display=121,
                sw1=201,
                sw2=202,
            ).items()
        },
        **{n: f"10.20.2.{o}" for n, o in dict(pbx=10, phone1=21, phone2=22, camera=30, sensor=31).items()},
    }
    six = {"build6": "2001:db8:20:3::10", "ns1": "2001:db8:20:1::10", "web": "2001:db8:20:1::11"}
    zone = ["$TTL 300\n@ SOA ns1 hostmaster 2026010101 3600 900 604800 60\n@ NS ns1\n@ MX 10 mail\n"]
    zone += [f"{n} A {a}" for n, a in hosts.items()] + [f"{n} AAAA {a}" for n, a in six.items()]
    zone += [
        "wiki CNAME web",
        "old CNAME web",
        "lab CNAME web",
        "kerberos CNAME dir",
        "ldap CNAME dir",
        "_ldap._tcp SRV 0 5 389 dir",
        "_kerberos._udp SRV 0 5 88 dir",
        f'_kerberos TXT "{REALM}"',
        "_sip._udp SRV 0 5 5060 pbx",
        '@ TXT "v=spf1 mx -all"',
    ]
    reverse = [
        "$TTL 300\n@ SOA ns1.office.example. hostmaster.office.example. 1 3600 900 604800 60\n@ NS "
        "ns1.office.example."
    ]
    reverse += [f"{a.split('.')[3]}.{a.split('.')[2]} PTR {n}.{DOMAIN}." for n, a in hosts.items()]
    ns1 = h["ns1"]
    ns1.write("/etc/bind/office.zone", "\n".join(zone) + "\n")
    ns1.write("/etc/bind/reverse.zone", "\n".join(reverse) + "\n")
    ns1.write("/etc/bind/broken.zone", "this is not a zone\n")
    ns1.write(
        "/etc/bind/named.conf",
        f"""
options {{ directory "/var/cache/bind"; listen-on {{ any; }}; listen-on-v6 {{ any; }}; dnssec-validation no;
    forwarders {{ 198.51.100.1; }}; forward only; version "office"; recursion yes; allow-transfer {{ none; }};
    allow-query {{ 10.20.0.0/16; 2001:db8::/32; localhost; }}; }};
zone "{DOMAIN}" {{ type master; file "/etc/bind/office.zone"; }};
zone "20.10.in-addr.arpa" {{ type master; file "/etc/bind/reverse.zone"; }};
zone "broken.example" {{ type master; file "/etc/bind/broken.zone"; }};
""",
    )
    ns1.start("named", "named -f -u bind -c /etc/bind/named.conf")
    reservations = "\n".join(
        f'host {n} {{ hardware ethernet 02:20:01:00:00:{o:02x}; fixed-address 10.20.1.{o}; }}'
        for n, o in dict(anna=101, bruno=102, carla=103, david=104, printer=120, display=121).items()
    )
    ns1.write(
        "/etc/dhcp/dhcpd.conf",
        f"""
authoritative; default-lease-time 600; max-lease-time 3600; ddns-update-style none;
subnet 10.20.1.0 netmask 255.255.255.0 {{ range 10.20.1.150 10.20.1.180; option routers 10.20.1.1;
    option domain-name "{DOMAIN}"; option domain-name-servers 10.20.1.10; option ntp-servers 10.20.1.10; }}
subnet 10.20.2.0 netmask 255.255.255.0 {{ range 10.20.2.150 10.20.2.180; option routers 10.20.2.1;
    option domain-name-servers 10.20.1.10; option tftp-server-name "files.{DOMAIN}"; }}
{reservations}
""",
    )
    ns1.run("mkdir -p /var/lib/dhcp; : > /var/lib/dhcp/dhcpd.leases")
    ns1.start("dhcpd", "dhcpd -f -4 -pf /run/dhcpd.pid -lf /var/lib/dhcp/dhcpd.leases eth0")
    ns1.write("/etc/chrony/office.conf", "local stratum 3\nallow 10.20.0.0/16\nallow 2001:db8::/32\n")
    ns1.start("chronyd", "chronyd -d -x -f /etc/chrony/office.conf")
    h["gw1"].start("dhcrelay", "dhcrelay -d -4 -a -iu eth0 -id eth1.20 10.20.1.10")
    isp = h["isp"]
    isp.write(
        "/etc/bind/net.zone",
        "$TTL 300\n@ SOA ns hostmaster 1 3600 900 604800 60\n@ NS ns\nns A 198.51.100.1\n"
        "www A 198.51.100.10\nwww AAAA 2001:db8:c::10\nstun A 198.51.100.10\nbranch A 203.0.113.2\n",
    )
    isp.write(
        "/etc/bind/root.zone",
        "$TTL 300\n. SOA a.root. nobody.root. 1 3600 900 604800 60\n. NS a.root.\na.root. A 198.51.100.1\n",
    )
    isp.write(
        "/etc/bind/named.conf",
        """
options { directory "/var/cache/bind"; listen-on { any; }; listen-on-v6 { none; }; dnssec-validation no; recursion no;
    allow-query { any; }; version "isp"; };
zone "." { type master; file "/etc/bind/root.zone"; };
zone "example.net" { type master; file "/etc/bind/net.zone"; };
""",
    )
    isp.start("named", "named -f -u bind -c /etc/bind/named.conf")


def start_all(h):
    certificates()
    for step in (
        names,
        pages.web,
        pages.mail,
        pages.files,
        accounts.directory,
        accounts.databases,
        things.machines,
        things.voice,
    ):
        step(h)
    frr(h["isp"], "bgpd")
    lldp(h["sw1"], h["sw2"], h["gw1"], h["gw2"], h["files"], h["sw3"], h["sw4"])
    things.screens(h)
    accounts.fill_databases(h)
