"""The directory, Kerberos and RADIUS, and the databases."""
from office import DOMAIN, PEOPLE, REALM

SUFFIX = "dc=office,dc=example"


def directory(h):
    dir_ = h["dir"]
    dir_.write(
        "/etc/ldap/office.conf",
        f"""
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
""",
    )
    entries = [
        f"dn: {SUFFIX}\nobjectClass: dcObject\nobjectClass: organization\no: Office Example\ndc: office\n",
        f"dn: ou=people,{SUFFIX}\nobjectClass: organizationalUnit\nou: people\n",
    ]
    entries += [
        f"dn: uid={n},ou=people,{SUFFIX}\nobjectClass: inetOrgPerson\nuid: {n}\ncn: {n.title()} Example\nsn: "
        "Example\n"
        f"mail: {n}@{DOMAIN}\ntelephoneNumber: 10{i + 1}\nuserPassword: {p}\n"
        for i, (n, p) in enumerate(PEOPLE.items())
    ]
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
    dir_.write(
        "/etc/krb5kdc/kdc.conf",
        f"[realms]\n {REALM} = {{\n  max_life = 10h\n  database_name = /var/lib/krb5kdc/principal\n }}\n",
    )
    commands = "".join(f"addprinc +requires_preauth -pw {p} {n}\n" for n, p in PEOPLE.items())
    dir_.run("kdb5_util create -s -P Master-Kettle-3 -r " + REALM, timeout=60)
    dir_.run(
        "kadmin.local",
        stdin=commands + f"addprinc -randkey host/files.{DOMAIN}\naddprinc -randkey ldap/dir.{DOMAIN}\n",
        timeout=60,
    )
    dir_.start("krb5kdc", "krb5kdc -n")
    dir_.write(
        "/etc/freeradius/3.0/sites-enabled/default",
        """server default {
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
""",
    )
    dir_.write("/etc/freeradius/3.0/mods-available/eap", "eap {\n    default_eap_type = md5\n    md5 {\n    }\n}\n")
    dir_.run("rm -f /etc/freeradius/3.0/sites-enabled/inner-tunnel")
    dir_.write(
        "/etc/freeradius/3.0/clients.conf", "client office { ipaddr = 10.20.0.0/16\n secret = Radius-Biscuit }\n"
    )
    dir_.write(
        "/etc/freeradius/3.0/mods-config/files/authorize",
        "".join(
            f'{n} Cleartext-Password := "{p}"\n    Reply-Message = "Welcome, {n}",\n    Tunnel-Private-Group-Id = '
            '"20"\n'
            for n, p in PEOPLE.items()
        ),
    )
    dir_.start("radius", "freeradius -f -l stdout")


def databases(h):
    db = h["db"]
    db.run("mkdir -p /run/mysqld && chown mysql: /run/mysqld")
    db.start(
        "mariadb",
        "mariadbd --user=mysql --bind-address=0.0.0.0 --skip-name-resolve --innodb-buffer-pool-size=16M "
        "--innodb-buffer-pool-size-max=16M "
        "--innodb-flush-method=fsync --innodb-use-native-aio=0 --key-buffer-size=1M --performance-schema=OFF",
    )
    db.run(
        "mkdir -p /run/postgresql && chown postgres: /run/postgresql; "
        "printf 'local all all trust\\nhost all all 10.20.0.0/16 scram-sha-256\\n' > "
        "/etc/postgresql/15/main/pg_hba.conf"
    )
    db.start(
        "postgres",
        "su postgres -s /bin/bash -c 'exec /usr/lib/postgresql/15/bin/postgres -D /var/lib/postgresql/15/main "
        "-c config_file=/etc/postgresql/15/main/postgresql.conf -c listen_addresses=0.0.0.0 -c shared_buffers=8MB "
        "-c fsync=off -c ssl=off -c max_connections=10'",
    )
    db.start("redis", "redis-server --bind 0.0.0.0 --protected-mode no --save '' --dir /tmp")


def fill_databases(h):
    db = h["db"]
    db.run(
        "for n in $(seq 60); do mariadb-admin ping >/dev/null 2>&1 && break; sleep 0.5; done; mariadb",
        timeout=60,
        stdin="""
create database stock; use stock;
create table items (id int primary key auto_increment, name varchar(40), price decimal(8,2), added date);
insert into items (name, price, added) select concat('Item ', seq), seq * 1.25, '2026-01-05' from seq_1_to_120;
create user 'shop'@'%' identified by 'Umbrella-3'; grant all on stock.* to 'shop'@'%';
""",
    )
    db.run(
        "for n in $(seq 60); do pg_isready -q && break; sleep 0.5; done; psql -q -U postgres",
        timeout=60,
        stdin="""
create role crm login password 'Lantern-7'; create database crm owner crm;
\\c crm crm
create table people (id serial primary key, name text, town text);
insert into people (name, town) select 'Person ' || n, (array['Bree','Hobbiton','Dale'])[1 + n % 3] from generate_series(1, 90) n;
""",
    )
