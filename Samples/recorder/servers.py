"""What the machines serve: configuration written for the occasion, programs as the packages bring them."""
import time

from net import Host, sh
from office import DOMAIN, PEOPLE, frr, lldp

SUFFIX = "dc=office,dc=example"
REALM = "OFFICE.EXAMPLE"


def certificates():
    """An authority of the office's own; one certificate ended a year ago and one vouches for itself."""
    sh("mkdir", "-p", "/etc/office")
    sh("bash", "-ec", """
cd /etc/office
ec() { openssl ecparam -name prime256v1 -genkey -noout -out "$1.key"; }
ec ca; openssl req -x509 -new -key ca.key -subj "/O=Office Example/CN=Office Example CA" -days 3650 -out ca.pem
touch index.txt; echo 1001 > serial
printf '[ca]\\ndefault_ca=d\\n[d]\\ndatabase=index.txt\\nserial=serial\\nnew_certs_dir=.\\ndefault_md=sha256\\npolicy=p\\n
unique_subject=no\\ncopy_extensions=copy\\n[p]\\norganizationName=optional\\ncommonName=supplied\\n' > ca.cnf
issue() { ec "$1"; shift_from=$3; openssl req -new -key "$1.key" -subj "/O=Office Example/CN=$2" -addext "subjectAltName=DNS:$2" -out "$1.csr"
  openssl ca -batch -config ca.cnf -cert ca.pem -keyfile ca.key -in "$1.csr" -out "$1.pem" -startdate "$3" -enddate "$4" -notext; }
from=$(date -u -d '30 days ago' +%Y%m%d%H%M%SZ); to=$(date -u -d '700 days' +%Y%m%d%H%M%SZ)
issue wiki wiki.office.example "$from" "$to"
issue mail mail.office.example "$from" "$to"
issue www www.example.net "$from" "$to"
issue old old.office.example "$(date -u -d '800 days ago' +%Y%m%d%H%M%SZ)" "$(date -u -d '400 days ago' +%Y%m%d%H%M%SZ)"
ec self; openssl req -x509 -new -key self.key -subj "/CN=lab.office.example" -addext "subjectAltName=DNS:lab.office.example" -days 365 -out self.pem
chmod 644 *.key
""")


def names(h):
    hosts = {**{n: f"10.20.1.{o}" for n, o in dict(ns1=10, web=11, mail=12, files=13, dir=14, db=15, log=16, term=17, gw1=2,
                                                 gw2=3, anna=101, bruno=102, carla=103, david=104, printer=120,
                                                 display=121, sw1=201, sw2=202).items()},
             **{n: f"10.20.2.{o}" for n, o in dict(pbx=10, phone1=21, phone2=22, camera=30, sensor=31).items()}}
    six = {"build6": "2001:db8:20:3::10", "ns1": "2001:db8:20:1::10", "web": "2001:db8:20:1::11"}
    zone = [f"$TTL 300\n@ SOA ns1 hostmaster 2026010101 3600 900 604800 60\n@ NS ns1\n@ MX 10 mail\n"]
    zone += [f"{n} A {a}" for n, a in hosts.items()] + [f"{n} AAAA {a}" for n, a in six.items()]
    zone += ["wiki CNAME web", "old CNAME web", "lab CNAME web", "kerberos CNAME dir", "ldap CNAME dir",
             "_ldap._tcp SRV 0 5 389 dir", "_kerberos._udp SRV 0 5 88 dir", f'_kerberos TXT "{REALM}"',
             "_sip._udp SRV 0 5 5060 pbx", '@ TXT "v=spf1 mx -all"']
    reverse = ["$TTL 300\n@ SOA ns1.office.example. hostmaster.office.example. 1 3600 900 604800 60\n@ NS ns1.office.example."]
    reverse += [f"{a.split('.')[3]}.{a.split('.')[2]} PTR {n}.{DOMAIN}." for n, a in hosts.items()]
    ns1 = h["ns1"]
    ns1.write("/etc/bind/office.zone", "\n".join(zone) + "\n")
    ns1.write("/etc/bind/reverse.zone", "\n".join(reverse) + "\n")
    ns1.write("/etc/bind/broken.zone", "this is not a zone\n")
    ns1.write("/etc/bind/named.conf", f"""
options {{ directory "/var/cache/bind"; listen-on {{ any; }}; listen-on-v6 {{ any; }}; dnssec-validation no;
    forwarders {{ 198.51.100.1; }}; forward only; version "office"; recursion yes; allow-transfer {{ none; }};
    allow-query {{ 10.20.0.0/16; 2001:db8::/32; localhost; }}; }};
zone "{DOMAIN}" {{ type master; file "/etc/bind/office.zone"; }};
zone "20.10.in-addr.arpa" {{ type master; file "/etc/bind/reverse.zone"; }};
zone "broken.example" {{ type master; file "/etc/bind/broken.zone"; }};
""")
    ns1.start("named", "named -f -4 -u bind -c /etc/bind/named.conf" .replace("-4 ", ""))
    reservations = "\n".join(f'host {n} {{ hardware ethernet 02:20:01:00:00:{o:02x}; fixed-address 10.20.1.{o}; }}'
                             for n, o in dict(anna=101, bruno=102, carla=103, david=104, printer=120, display=121).items())
    ns1.write("/etc/dhcp/dhcpd.conf", f"""
authoritative; default-lease-time 600; max-lease-time 3600; ddns-update-style none;
subnet 10.20.1.0 netmask 255.255.255.0 {{ range 10.20.1.150 10.20.1.180; option routers 10.20.1.1;
    option domain-name "{DOMAIN}"; option domain-name-servers 10.20.1.10; option ntp-servers 10.20.1.10; }}
subnet 10.20.2.0 netmask 255.255.255.0 {{ range 10.20.2.150 10.20.2.180; option routers 10.20.2.1;
    option domain-name-servers 10.20.1.10; option tftp-server-name "files.{DOMAIN}"; }}
{reservations}
""")
    ns1.run("mkdir -p /var/lib/dhcp; : > /var/lib/dhcp/dhcpd.leases")
    ns1.start("dhcpd", "dhcpd -f -4 -pf /run/dhcpd.pid -lf /var/lib/dhcp/dhcpd.leases eth0")
    ns1.write("/etc/chrony/office.conf", "local stratum 3\nallow 10.20.0.0/16\nallow 2001:db8::/32\n")
    ns1.start("chronyd", "chronyd -d -x -f /etc/chrony/office.conf")
    h["gw1"].start("dhcrelay", "dhcrelay -d -4 -a -iu eth0 -id eth1.20 10.20.1.10")
    isp = h["isp"]
    isp.write("/etc/bind/net.zone", "$TTL 300\n@ SOA ns hostmaster 1 3600 900 604800 60\n@ NS ns\nns A 198.51.100.1\n"
              "www A 198.51.100.10\nwww AAAA 2001:db8:c::10\nstun A 198.51.100.10\nbranch A 203.0.113.2\n")
    isp.write("/etc/bind/root.zone", "$TTL 300\n. SOA a.root. nobody.root. 1 3600 900 604800 60\n. NS a.root.\na.root. A 198.51.100.1\n")
    isp.write("/etc/bind/named.conf", """
options { directory "/var/cache/bind"; listen-on { any; }; listen-on-v6 { none; }; dnssec-validation no; recursion no;
    allow-query { any; }; version "isp"; };
zone "." { type master; file "/etc/bind/root.zone"; };
zone "example.net" { type master; file "/etc/bind/net.zone"; };
""")
    isp.start("named", "named -f -u bind -c /etc/bind/named.conf")


def web(h):
    web, www, build6 = h["web"], h["www"], h["build6"]
    pages = """mkdir -p /srv/www && cd /srv/www
        python3 - <<'END'
import random, struct, zlib
def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
grain = random.Random(3)
picture = b"".join(b"\\0" + grain.randbytes(450) for _ in range(130))
open("photo.png", "wb").write(b"\\x89PNG\\r\\n\\x1a\\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", 150, 130, 8, 2, 0, 0, 0))
                              + chunk(b"IDAT", zlib.compress(picture)) + chunk(b"IEND", b""))
rows = "".join(f"<tr><td>Room {n}</td><td>{random.Random(n).choice(['free', 'taken'])}</td></tr>" for n in range(40))
open("index.html", "w").write(f"<!doctype html><title>Intranet</title><link rel=stylesheet href=style.css><h1>Rooms</h1><table>{rows}</table>")
open("style.css", "w").write("".join(f".room{n} {{ font: {n % 9 + 10}px sans-serif }}\\n" for n in range(90)))
open("news.txt", "w").write("".join(f"{n}. The kettle on floor {n % 4} was descaled.\\n" for n in range(1, 400)))
for name, size in (("plan.pdf", 150_000), ("image.iso", 1_000_000), ("small.bin", 12_000)):
    open(name, "wb").write(random.Random(name).randbytes(size))
END
        mkdir -p secret && echo 'salaries' > secret/list.txt
        printf 'anna:%s\\n' "$(openssl passwd -apr1 Teapot-42)" > /etc/nginx/people"""
    for host in (web, www, build6, h["term"]):
        host.run(pages)
    common = """worker_processes 1; error_log /tmp/nginx.err; pid /run/nginx.pid; daemon off; user www-data;
events { worker_connections 64; }
http { include /etc/nginx/mime.types; access_log /tmp/nginx.log; server_tokens off; keepalive_timeout 8; gzip on; sendfile off; root /srv/www;
"""
    web.write("/etc/nginx/office.conf", common + """
  ssl_protocols TLSv1.2 TLSv1.3;
  server { listen 80 default_server; listen [::]:80 default_server; server_name wiki.office.example web.office.example;
    location = /moved { return 301 http://wiki.office.example/index.html; }
    location = /broken { return 500 "out of tea\\n"; }
    location = /busy { return 503; }
    location = /form { return 200 "thank you\\n"; }
    location /secret { auth_basic "staff"; auth_basic_user_file /etc/nginx/people; }
    location /slow/ { alias /srv/www/; limit_rate 40k; }
    location /app { proxy_pass http://127.0.0.1:9999; }
    location /late/ { proxy_pass http://10.20.1.17:8081/; } }
  server { listen 443 ssl http2; server_name wiki.office.example; ssl_certificate /etc/office/wiki.pem; ssl_certificate_key /etc/office/wiki.key; }
  server { listen 443 ssl http2; server_name old.office.example; ssl_certificate /etc/office/old.pem; ssl_certificate_key /etc/office/old.key; }
  server { listen 443 ssl http2; server_name lab.office.example; ssl_certificate /etc/office/self.pem; ssl_certificate_key /etc/office/self.key; }
}""")
    public = """
  server { listen 80; listen [::]:80; }
  server { listen 443 ssl http2; listen [::]:443 ssl http2; ssl_certificate /etc/office/www.pem; ssl_certificate_key /etc/office/www.key; }
}"""
    www.write("/etc/nginx/office.conf", common + public)
    build6.write("/etc/nginx/office.conf", common + public)
    for host in (web, www, build6):
        host.start("nginx", "nginx -c /etc/nginx/office.conf")
    www.start("quic4", "gtlsserver -q -d /srv/www 198.51.100.10 4433 /etc/office/www.key /etc/office/www.pem")
    www.start("quic6", "gtlsserver -q -d /srv/www 2001:db8:c::10 4433 /etc/office/www.key /etc/office/www.pem")
    www.start("stun", "turnserver -n --listening-ip 198.51.100.10 --stun-only --no-cli --log-file stdout --pidfile /run/turn.pid")


def mail(h):
    mail = h["mail"]
    mail.write("/etc/exim4/exim4.conf", f"""
primary_hostname = mail.{DOMAIN}
domainlist local_domains = {DOMAIN}
acl_smtp_rcpt = rcpt
acl_smtp_data = data
smtp_banner = mail.{DOMAIN} ESMTP
tls_certificate = /etc/office/mail.pem
tls_privatekey = /etc/office/mail.key
tls_advertise_hosts = *
host_lookup =
rfc1413_query_timeout = 0s
exim_user = Debian-exim
begin acl
rcpt:
  accept domains = +local_domains
         local_parts = {" : ".join(PEOPLE)}
  deny message = no such person here
data:
  accept
begin routers
local:
  driver = accept
  domains = +local_domains
  local_parts = {" : ".join(PEOPLE)}
  transport = box
begin transports
box:
  driver = appendfile
  file = /var/mail/$local_part_data
  user = mail
  group = mail
  mode_fail_narrower = false
  check_owner = false
begin authenticators
""")
    mail.run("chown root:root /etc/exim4/exim4.conf; mkdir -p /run/exim4 && chown Debian-exim: /run/exim4; "
             "chmod 2775 /var/mail; mkdir -p /var/lib/mailhome && chown mail:mail /var/lib/mailhome")
    mail.start("exim", "exim4 -bdf -oX 25")
    mail.write("/etc/dovecot/people", "".join(f"{n}:{{PLAIN}}{p}\n" for n, p in PEOPLE.items()))
    mail.write("/etc/dovecot/dovecot.conf", """
protocols = imap pop3
listen = *
log_path = /tmp/dovecot.log
ssl = yes
ssl_cert = </etc/office/mail.pem
ssl_key = </etc/office/mail.key
disable_plaintext_auth = no
first_valid_uid = 1
first_valid_gid = 1
mail_location = mbox:~/mail:INBOX=/var/mail/%n
mbox_write_locks = fcntl
mail_privileged_group = mail
passdb {
  driver = passwd-file
  args = scheme=PLAIN /etc/dovecot/people
}
userdb {
  driver = static
  args = uid=mail gid=mail home=/var/lib/mailhome/%n
}
""")
    mail.start("dovecot", "dovecot -F")


def files(h):
    files = h["files"]
    files.run("""mkdir -p /srv/share /srv/tftp /srv/nfs /run/samba; chmod 777 /srv/share /srv/nfs /srv/tftp
        python3 -c 'import random; open("/srv/share/budget.xlsx","wb").write(random.Random(1).randbytes(120_000))'
        python3 -c 'import random; open("/srv/nfs/model.dat","wb").write(random.Random(2).randbytes(90_000))'
        printf 'phone 101\\ncodec PCMU\\nvlan 20\\n%.0s' $(seq 60) > /srv/tftp/phone101.cfg; chmod 644 /srv/tftp/* /srv/nfs/* /srv/share/*""")
    files.write("/etc/samba/smb.conf", f"""[global]
workgroup = OFFICE
netbios name = FILES
server string = Office files
interfaces = eth0
bind interfaces only = yes
log file = /tmp/samba.%m.log
map to guest = bad user
load printers = no
printing = bsd
disable spoolss = yes
[share]
path = /srv/share
read only = no
""")
    for name, password in PEOPLE.items():
        files.run(f"smbpasswd -s -a {name}", stdin=f"{password}\n{password}\n")
    files.start("smbd", "smbd -F --no-process-group")
    files.start("nmbd", "nmbd -F --no-process-group")
    files.write("/etc/vsftpd.conf", "listen=YES\nbackground=NO\nanonymous_enable=NO\nlocal_enable=YES\nwrite_enable=YES\n"
                "pam_service_name=vsftpd\nsecure_chroot_dir=/run/vsftpd/empty\nftpd_banner=Office files, FTP service\n"
                "pasv_min_port=50000\npasv_max_port=50020\nseccomp_sandbox=NO\n")
    files.run("mkdir -p /run/vsftpd/empty; cp /srv/share/budget.xlsx /home/david/; chown david: /home/david/budget.xlsx")
    files.start("vsftpd", "vsftpd /etc/vsftpd.conf")
    files.start("tftpd", "in.tftpd -L -4 --secure -c /srv/tftp")
    files.write("/etc/exports", "/srv 10.20.0.0/16(rw,no_subtree_check,no_root_squash,insecure,fsid=0)\n"
                "/srv/nfs 10.20.0.0/16(rw,no_subtree_check,no_root_squash,insecure,fsid=1)\n")
    files.run("mkdir -p /var/lib/nfs/rpc_pipefs /run/rpcbind /var/lib/nfs/v4recovery; touch /var/lib/nfs/etab /var/lib/nfs/rmtab; "
              "mount -t nfsd nfsd /proc/fs/nfsd")
    files.start("rpcbind", "rpcbind -f -w")
    time.sleep(0.5)
    files.run("exportfs -ra; rpc.nfsd -N 4.0 -V 3 4 --grace-time 5 --lease-time 5 || rpc.nfsd 4")
    files.start("mountd", "rpc.mountd -F -p 20048")


def directory(h):
    dir_ = h["dir"]
    dir_.write("/etc/ldap/office.conf", f"""
include /etc/ldap/schema/core.schema
include /etc/ldap/schema/cosine.schema
include /etc/ldap/schema/inetorgperson.schema
modulepath /usr/lib/ldap
moduleload back_mdb
pidfile /run/slapd.pid
database mdb
maxsize 16777216
suffix "{SUFFIX}"
rootdn "cn=admin,{SUFFIX}"
rootpw Kettle-88
directory /var/lib/office-ldap
""")
    entries = [f"dn: {SUFFIX}\nobjectClass: dcObject\nobjectClass: organization\no: Office Example\ndc: office\n",
               f"dn: ou=people,{SUFFIX}\nobjectClass: organizationalUnit\nou: people\n"]
    entries += [f"dn: uid={n},ou=people,{SUFFIX}\nobjectClass: inetOrgPerson\nuid: {n}\ncn: {n.title()} Example\nsn: Example\n"
                f"mail: {n}@{DOMAIN}\ntelephoneNumber: 10{i + 1}\nuserPassword: {p}\n" for i, (n, p) in enumerate(PEOPLE.items())]
    dir_.write("/tmp/people.ldif", "\n".join(entries))
    dir_.run("mkdir -p /var/lib/office-ldap && slapadd -f /etc/ldap/office.conf -l /tmp/people.ldif", check=True)
    dir_.start("slapd", "slapd -d 0 -f /etc/ldap/office.conf -h ldap:///")
    krb5 = f"""[libdefaults]
 default_realm = {REALM}
 dns_lookup_kdc = false
 rdns = false
 dns_canonicalize_hostname = false
[realms]
 {REALM} = {{
  kdc = 10.20.1.14
  admin_server = 10.20.1.14
 }}
[domain_realm]
 .{DOMAIN} = {REALM}
"""
    for name in ("dir", "carla", "david", "files"):
        h[name].write("/etc/krb5.conf", krb5)
    dir_.write("/etc/krb5kdc/kdc.conf", f"[realms]\n {REALM} = {{\n  max_life = 10h\n  database_name = /var/lib/krb5kdc/principal\n }}\n")
    commands = "".join(f"addprinc +requires_preauth -pw {p} {n}\n" for n, p in PEOPLE.items())
    dir_.run("kdb5_util create -s -P Master-Kettle-3 -r " + REALM, timeout=60)
    dir_.run("kadmin.local", stdin=commands + f"addprinc -randkey host/files.{DOMAIN}\naddprinc -randkey ldap/dir.{DOMAIN}\n", timeout=60)
    dir_.start("krb5kdc", "krb5kdc -n")
    dir_.write("/etc/freeradius/3.0/sites-enabled/default", """server default {
    listen { type = auth
        ipaddr = *
        port = 0
    }
    listen { type = acct
        ipaddr = *
        port = 0
    }
    authorize {
        chap
        eap {
            ok = return
        }
        files
        pap
    }
    authenticate {
        Auth-Type PAP {
            pap
        }
        Auth-Type CHAP {
            chap
        }
        eap
    }
    accounting {
        ok
    }
}
""")
    dir_.write("/etc/freeradius/3.0/mods-available/eap", "eap {\n    default_eap_type = md5\n    md5 {\n    }\n}\n")
    dir_.run("rm -f /etc/freeradius/3.0/sites-enabled/inner-tunnel")
    dir_.write("/etc/freeradius/3.0/clients.conf", "client office { ipaddr = 10.20.0.0/16\n secret = Radius-Biscuit }\n")
    dir_.write("/etc/freeradius/3.0/mods-config/files/authorize", "".join(
        f'{n} Cleartext-Password := "{p}"\n    Reply-Message = "Welcome, {n}",\n    Tunnel-Private-Group-Id = "20"\n' for n, p in PEOPLE.items()))
    dir_.start("radius", "freeradius -f -l stdout")


def databases(h):
    db = h["db"]
    db.run("mkdir -p /run/mysqld && chown mysql: /run/mysqld")
    db.start("mariadb", "mariadbd --user=mysql --bind-address=0.0.0.0 --skip-name-resolve --innodb-buffer-pool-size=16M --innodb-buffer-pool-size-max=16M "
             "--innodb-flush-method=fsync --innodb-use-native-aio=0 --key-buffer-size=1M --performance-schema=OFF")
    db.run("mkdir -p /run/postgresql && chown postgres: /run/postgresql; "
           "printf 'local all all trust\\nhost all all 10.20.0.0/16 scram-sha-256\\n' > /etc/postgresql/15/main/pg_hba.conf")
    db.start("postgres", "su postgres -s /bin/bash -c 'exec /usr/lib/postgresql/15/bin/postgres -D /var/lib/postgresql/15/main "
             "-c config_file=/etc/postgresql/15/main/postgresql.conf -c listen_addresses=0.0.0.0 -c shared_buffers=8MB "
             "-c fsync=off -c ssl=off -c max_connections=10'")
    db.start("redis", "redis-server --bind 0.0.0.0 --protected-mode no --save '' --dir /tmp")


def fill_databases(h):
    db = h["db"]
    db.run("for n in $(seq 60); do mariadb-admin ping >/dev/null 2>&1 && break; sleep 0.5; done; mariadb", timeout=60, stdin="""
create database stock; use stock;
create table items (id int primary key auto_increment, name varchar(40), price decimal(8,2), added date);
insert into items (name, price, added) select concat('Item ', seq), seq * 1.25, '2026-01-05' from seq_1_to_120;
create user 'shop'@'%' identified by 'Umbrella-3'; grant all on stock.* to 'shop'@'%';
""")
    db.run("for n in $(seq 60); do pg_isready -q && break; sleep 0.5; done; psql -q -U postgres", timeout=60, stdin="""
create role crm login password 'Lantern-7'; create database crm owner crm;
\\c crm crm
create table people (id serial primary key, name text, town text);
insert into people (name, town) select 'Person ' || n, (array['Bree','Hobbiton','Dale'])[1 + n % 3] from generate_series(1, 90) n;
""")


def other(h):
    log, term, printer, display = h["log"], h["term"], h["printer"], h["display"]
    log.write("/etc/rsyslog.conf", 'module(load="imudp")\ninput(type="imudp" port="514")\nmodule(load="imtcp")\n'
              'input(type="imtcp" port="514")\n*.* /tmp/all.log\n')
    log.start("rsyslog", "rsyslogd -n -i /run/rsyslogd.pid")
    log.write("/etc/mosquitto/office.conf", "listener 1883\nallow_anonymous true\n")
    log.start("mosquitto", "mosquitto -c /etc/mosquitto/office.conf")
    log.write("/etc/snmp/snmptrapd.conf", "disableAuthorization yes\n")
    log.start("snmptrapd", "snmptrapd -f -Lo -n udp:162")
    term.write("/etc/inetd.conf", "telnet stream tcp nowait root /usr/sbin/tcpd /usr/sbin/telnetd\n".replace("/usr/sbin/tcpd ", ""))
    term.write("/etc/issue.net", "Terminal server, office.example\n")
    term.start("inetd", "inetd -i /etc/inetd.conf")
    for host in (term, h["build6"], h["gw1"]):
        host.run("rm -f /etc/ssh/ssh_host_*; ssh-keygen -q -t ed25519 -N '' -f /etc/ssh/ssh_host_ed25519_key; mkdir -p /run/sshd; : > /etc/motd")
        host.start("sshd", "/usr/sbin/sshd -D -o HostKey=/etc/ssh/ssh_host_ed25519_key -o PrintMotd=no -o UseDNS=no")
    term.run("cd /etc/xrdp && openssl req -x509 -newkey rsa:2048 -nodes -keyout key.pem -out cert.pem -days 365 "
             "-subj /CN=term.office.example 2>/dev/null; chmod 644 key.pem; mkdir -p /run/xrdp/sockdir; chmod 1777 /run/xrdp/sockdir; "
             "xrdp-keygen xrdp auto /etc/xrdp/rsakeys.ini; chown xrdp: /run/xrdp rsakeys.ini; printf 'Quiet-99\\nQuiet-99\\nn\\n' | tigervncpasswd /etc/vncpasswd")
    term.start("app", "python3 -m http.server --directory /srv/www 8081")
    term.start("sesman", "xrdp-sesman -n")
    term.start("xrdp", "xrdp -n")
    term.start("xvnc", "Xtigervnc :1 -geometry 320x240 -depth 16 -SecurityTypes VncAuth -PasswordFile /etc/vncpasswd -AlwaysShared")
    printer.write("/etc/snmp/office.conf", "rocommunity public\nsysDescr Example LaserPrinter 4000\nsysName printer.office.example\n"
                  "sysLocation Floor 2\nsysContact helpdesk@office.example\nagentaddress udp:161\n")
    printer.start("jobs", "ncat -lk 9100 --recv-only -o /dev/null")
    printer.start("snmpd", "snmpd -f -Lo -C -c /etc/snmp/office.conf")
    for host in (printer, display):
        host.write("/etc/avahi/avahi-daemon.conf", f"[server]\nhost-name={host.name}\nuse-ipv4=yes\nuse-ipv6=yes\nallow-interfaces=eth0\nenable-dbus=no\n"
                   "[publish]\npublish-hinfo=no\npublish-workstation=no\n")
        host.run("rm -f /etc/avahi/services/*")
    printer.write("/etc/avahi/services/ipp.service", """<service-group><name>LaserPrinter floor 2</name>
<service><type>_ipp._tcp</type><port>631</port><txt-record>ty=Example LaserPrinter 4000</txt-record><txt-record>rp=ipp/print</txt-record></service></service-group>""")
    display.write("/etc/avahi/services/cast.service", """<service-group><name>Meeting room 1</name>
<service><type>_http._tcp</type><port>80</port><txt-record>path=/</txt-record></service></service-group>""")


def voice(h):
    h["pbx"].write("/etc/kamailio/office.cfg", """#!KAMAILIO
debug=1
log_stderror=yes
children=1
disable_tcp=yes
auto_aliases=no
listen=udp:10.20.2.10:5060
mpath="/usr/lib/x86_64-linux-gnu/kamailio/modules/"
loadmodule "sl.so"
loadmodule "tm.so"
loadmodule "rr.so"
loadmodule "maxfwd.so"
loadmodule "textops.so"
loadmodule "pv.so"
loadmodule "siputils.so"
loadmodule "usrloc.so"
loadmodule "registrar.so"
request_route {
  if (!mf_process_maxfwd_header("10")) { sl_send_reply("483", "Too Many Hops"); exit; }
  if (is_method("REGISTER")) { save("location"); exit; }
  if (has_totag()) { loose_route(); t_relay(); exit; }
  if (is_method("INVITE|SUBSCRIBE")) record_route();
  if (is_method("OPTIONS")) { sl_send_reply("200", "OK"); exit; }
  if (!lookup("location")) { sl_send_reply("404", "Not Found"); exit; }
  t_relay();
}
""")
    h["pbx"].start("kamailio", "kamailio -DD -E -f /etc/kamailio/office.cfg -m 16 -M 4")
    tune = """import math, struct, wave
with wave.open("/etc/baresip/tune.wav", "wb") as out:
    out.setparams((1, 2, 8000, 0, "NONE", ""))
    notes = [262, 294, 330, 349, 392, 440, 494, 523] * 6
    out.writeframes(b"".join(struct.pack("<h", int(9000 * math.sin(2 * math.pi * note * n / 8000))) for note in notes for n in range(2400)))
"""
    for number, name in ((101, "phone1"), (102, "phone2")):
        h[name].run("mkdir -p /etc/baresip && python3 -", stdin=tune, check=True)
        h[name].write("/etc/baresip/accounts", f"<sip:{number}@10.20.2.10>;auth_pass=none;regint=60;answermode=auto;audio_codecs=pcmu\n")
        h[name].write("/etc/baresip/config", f"""poll_method epoll
sip_listen 10.20.2.{number - 80}:5060
audio_player aufile,/tmp/heard.wav
audio_source aufile,/etc/baresip/tune.wav
audio_alert aufile,/dev/null
rtp_ports 20000-20010
rtcp_mux no
net_interface eth0
module_path /usr/lib/baresip/modules
module g711.so
module aufile.so
module uuid.so
module_tmp account.so
module_app menu.so
module_app ctrl_tcp.so
ctrl_tcp_listen 127.0.0.1:4444
""")


def start_all(h):
    certificates()
    for step in (names, web, mail, files, directory, databases, other, voice):
        step(h)
    frr(h["isp"], "bgpd")
    lldp(h["sw1"], h["sw2"], h["gw1"], h["gw2"], h["files"], h["sw3"], h["sw4"])
    fill_databases(h)
