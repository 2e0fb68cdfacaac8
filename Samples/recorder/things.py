"""Logs, terminals, printer and screen, telephones."""


def machines(h):
    log, term, printer, display = h["log"], h["term"], h["printer"], h["display"]
    log.write(
        "/etc/rsyslog.conf",
        'module(load="imudp")\ninput(type="imudp" port="514")\nmodule(load="imtcp")\n'
        'input(type="imtcp" port="514")\n*.* /tmp/all.log\n',
    )
    log.start("rsyslog", "rsyslogd -n -i /run/rsyslogd.pid")
    log.write("/etc/mosquitto/office.conf", "listener 1883\nallow_anonymous true\n")
    log.start("mosquitto", "mosquitto -c /etc/mosquitto/office.conf")
    log.write("/etc/snmp/snmptrapd.conf", "disableAuthorization yes\n")
    log.start("snmptrapd", "snmptrapd -f -Lo -n udp:162")
    term.write("/etc/inetd.conf", "telnet stream tcp nowait root /usr/sbin/telnetd telnetd\n")
    term.write("/etc/issue.net", "Terminal server, office.example\n")
    term.start("inetd", "inetd -i /etc/inetd.conf")
    for host in (term, h["build6"], h["gw1"]):
        host.run(
            "rm -f /etc/ssh/ssh_host_*; ssh-keygen -q -t ed25519 -N '' -f /etc/ssh/ssh_host_ed25519_key; "
            "mkdir -p /run/sshd; : > /etc/motd"
        )
        host.start("sshd", "/usr/sbin/sshd -D -o HostKey=/etc/ssh/ssh_host_ed25519_key -o PrintMotd=no -o UseDNS=no")
    term.run(
        "cd /etc/xrdp && openssl req -x509 -newkey rsa:2048 -nodes -keyout key.pem -out cert.pem -days 365 "
        "-subj /CN=term.office.example 2>/dev/null; chmod 644 key.pem; mkdir -p /run/xrdp/sockdir; "
        "chmod 1777 /run/xrdp/sockdir; "
        "xrdp-keygen xrdp auto /etc/xrdp/rsakeys.ini; chown xrdp: /run/xrdp rsakeys.ini; "
        "printf 'Quiet-99\\nQuiet-99\\nn\\n' | tigervncpasswd /etc/vncpasswd"
    )
    term.start("app", "python3 -m http.server --directory /srv/www 8081")
    term.start("sesman", "xrdp-sesman -n")
    term.start("xrdp", "xrdp -n")
    term.start(
        "xvnc",
        "Xtigervnc :1 -geometry 320x240 -depth 16 -SecurityTypes VncAuth -PasswordFile /etc/vncpasswd -AlwaysShared",
    )
    printer.write(
        "/etc/snmp/office.conf",
        "rocommunity public\nsysDescr Example LaserPrinter 4000\nsysName printer.office.example\n"
        "sysLocation Floor 2\nsysContact helpdesk@office.example\nagentaddress udp:161\n",
    )
    printer.start("jobs", "ncat -lk 9100 --recv-only -o /dev/null")
    printer.start("snmpd", "snmpd -f -Lo -C -c /etc/snmp/office.conf")
    for host in (printer, display):
        host.write(
            "/etc/avahi/avahi-daemon.conf",
            f"[server]\nhost-name={host.name}\nuse-ipv4=yes\nuse-ipv6=yes\nallow-interfaces=eth0\nenable-dbus=no\n"
            "[publish]\npublish-hinfo=no\npublish-workstation=no\n",
        )
        host.run("rm -f /etc/avahi/services/*")
    printer.write(
        "/etc/avahi/services/ipp.service",
        """<service-group><name>LaserPrinter floor 2</name>
<service><type>_ipp._tcp</type><port>631</port>
<txt-record>ty=Example LaserPrinter 4000</txt-record>
<txt-record>rp=ipp/print</txt-record></service></service-group>""",
    )
    display.write(
        "/etc/avahi/services/cast.service",
        """<service-group><name>Meeting room 1</name>
<service><type>_http._tcp</type><port>80</port><txt-record>path=/</txt-record></service></service-group>""",
    )


def screens(h):
    """Screens in memory for those who look at others' screens; the viewers are loaded once, so that they start at once."""
    h["bruno"].run("printf 'Quiet-99\\n' | tigervncpasswd -f > /tmp/vncpw; xtigervncviewer -h; true", quiet=True)
    h["anna"].run("xfreerdp /version", quiet=True)
    for name in ("bruno", "anna"):
        h[name].start("xvfb", "Xvfb :9 -screen 0 640x480x16 -nolisten tcp")


def voice(h):
    h["pbx"].write(
        "/etc/kamailio/office.cfg",
        """#!KAMAILIO
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
""",
    )
    h["pbx"].start("kamailio", "kamailio -DD -E -f /etc/kamailio/office.cfg -m 16 -M 4")
    tune = """import math, struct, wave
with wave.open("/etc/baresip/tune.wav", "wb") as out:
    out.setparams((1, 2, 8000, 0, "NONE", ""))
    notes = [262, 294, 330, 349, 392, 440, 494, 523] * 6
    curve = [9000 * math.sin(2 * math.pi * note * n / 8000) for note in notes for n in range(2400)]
    out.writeframes(struct.pack(f"<{len(curve)}h", *map(int, curve)))
"""
    for number, name in ((101, "phone1"), (102, "phone2")):
        h[name].run("mkdir -p /etc/baresip && python3 -", stdin=tune, check=True)
        h[name].write(
            "/etc/baresip/accounts",
            f"<sip:{number}@10.20.2.10>;auth_pass=none;regint=60;answermode=auto;audio_codecs=pcmu\n",
        )
        h[name].write(
            "/etc/baresip/config",
            f"""poll_method epoll
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
""",
        )
