"""Web, mail and file servers."""
import time

from office import DOMAIN, PEOPLE


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
open("index.html", "w").write(
    f"<!doctype html><title>Intranet</title><link rel=stylesheet href=style.css><h1>Rooms</h1><table>{rows}</table>")
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
http { include /etc/nginx/mime.types; access_log /tmp/nginx.log; server_tokens off;
  keepalive_timeout 8; gzip on; sendfile off; root /srv/www;
"""
    web.write(
        "/etc/nginx/office.conf",
        common
        + """
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
  server { listen 443 ssl http2; server_name wiki.office.example;
    ssl_certificate /etc/office/wiki.pem; ssl_certificate_key /etc/office/wiki.key; }
  server { listen 443 ssl http2; server_name old.office.example;
    ssl_certificate /etc/office/old.pem; ssl_certificate_key /etc/office/old.key; }
  server { listen 443 ssl http2; server_name lab.office.example;
    ssl_certificate /etc/office/self.pem; ssl_certificate_key /etc/office/self.key; }
}""",
    )
    public = """
  server { listen 80; listen [::]:80; }
  server { listen 443 ssl http2; listen [::]:443 ssl http2;
    ssl_certificate /etc/office/www.pem; ssl_certificate_key /etc/office/www.key; }
}"""
    www.write("/etc/nginx/office.conf", common + public)
    build6.write("/etc/nginx/office.conf", common + public)
    for host in (web, www, build6):
        host.start("nginx", "nginx -c /etc/nginx/office.conf")
    www.start("quic4", "gtlsserver -q -d /srv/www 198.51.100.10 4433 /etc/office/www.key /etc/office/www.pem")
    www.start("quic6", "gtlsserver -q -d /srv/www 2001:db8:c::10 4433 /etc/office/www.key /etc/office/www.pem")
    www.start(
        "stun",
        "turnserver -n --listening-ip 198.51.100.10 --stun-only --no-cli --log-file stdout --pidfile /run/turn.pid",
    )


def mail(h):
    mail = h["mail"]
    mail.write(
        "/etc/exim4/exim4.conf",
        f"""
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
""",
    )
    mail.run(
        "chown root:root /etc/exim4/exim4.conf; mkdir -p /run/exim4 && chown Debian-exim: /run/exim4; "
        "chmod 2775 /var/mail; mkdir -p /var/lib/mailhome && chown mail:mail /var/lib/mailhome"
    )
    mail.start("exim", "exim4 -bdf -oX 25")
    mail.write("/etc/dovecot/people", "".join(f"{n}:{{PLAIN}}{p}\n" for n, p in PEOPLE.items()))
    mail.write(
        "/etc/dovecot/dovecot.conf",
        """
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
""",
    )
    mail.start("dovecot", "dovecot -F")


def files(h):
    files = h["files"]
    files.run(
        """mkdir -p /srv/share /srv/tftp /srv/nfs /run/samba; chmod 777 /srv/share /srv/nfs /srv/tftp
        python3 -c 'import random; open("/srv/share/budget.xlsx","wb").write(random.Random(1).randbytes(120_000))'
        python3 -c 'import random; open("/srv/nfs/model.dat","wb").write(random.Random(2).randbytes(90_000))'
        printf 'phone 101\\ncodec PCMU\\nvlan 20\\n%.0s' $(seq 60) > /srv/tftp/phone101.cfg
        chmod 644 /srv/tftp/* /srv/nfs/* /srv/share/*"""
    )
    files.write(
        "/etc/samba/smb.conf",
        """[global]
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
""",
    )
    for name, password in PEOPLE.items():
        files.run(f"smbpasswd -s -a {name}", stdin=f"{password}\n{password}\n")
    files.start("smbd", "smbd -F --no-process-group")
    files.start("nmbd", "nmbd -F --no-process-group")
    files.write(
        "/etc/vsftpd.conf",
        "listen=YES\nbackground=NO\nanonymous_enable=NO\nlocal_enable=YES\nwrite_enable=YES\n"
        "pam_service_name=vsftpd\nsecure_chroot_dir=/run/vsftpd/empty\nftpd_banner=Office files, FTP service\n"
        "pasv_min_port=50000\npasv_max_port=50020\nseccomp_sandbox=NO\n",
    )
    files.run(
        "mkdir -p /run/vsftpd/empty; cp /srv/share/budget.xlsx /home/david/; chown david: /home/david/budget.xlsx"
    )
    files.start("vsftpd", "vsftpd /etc/vsftpd.conf")
    files.start("tftpd", "in.tftpd -L -4 --secure -c /srv/tftp")
    files.write(
        "/etc/exports",
        "/srv 10.20.0.0/16(rw,no_subtree_check,no_root_squash,insecure,fsid=0)\n"
        "/srv/nfs 10.20.0.0/16(rw,no_subtree_check,no_root_squash,insecure,fsid=1)\n",
    )
    files.run(
        "mkdir -p /var/lib/nfs/rpc_pipefs /run/rpcbind /var/lib/nfs/v4recovery; "
        "touch /var/lib/nfs/etab /var/lib/nfs/rmtab; "
        "mount -t nfsd nfsd /proc/fs/nfsd"
    )
    files.start("rpcbind", "rpcbind -f -w")
    time.sleep(0.5)
    files.run("exportfs -ra; rpc.nfsd -N 4.0 -V 3 4 --grace-time 5 --lease-time 5 || rpc.nfsd 4")
    files.start("mountd", "rpc.mountd -F -p 20048")
