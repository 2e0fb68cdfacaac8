#!/bin/bash
# First process of the stage: a kernel of its own (user-mode Linux) that sees this machine's files read-only through hostfs,
# puts a layer in memory above them, and runs the office inside. Everything is gone when the kernel halts.
# From the kernel's command line: STAGE (this directory), OUT (where recordings go), SCENES (what to play).
export PATH=/usr/sbin:/usr/bin:/sbin:/bin LANG=C.UTF-8 HOME=/root
mount -t proc proc /proc
mount -t sysfs sysfs /sys
mount -t tmpfs -o size=80% layer /mnt
mkdir -p /mnt/lib/modules /mnt/upper /mnt/work /mnt/root
ln -s "/usr/lib/uml/modules/$(uname -r)" /mnt/lib/modules/
dmesg -n 1
for module in overlay ipv6 veth bridge 8021q macvlan vxlan ip_gre sch_netem sch_tbf tun nfsd nfs nfsv3 nfsv4 sctp; do
    modprobe -d /mnt "$module" 2>/dev/null || echo "stage: no module $module" >&2
done
mount -t overlay -o lowerdir=/,upperdir=/mnt/upper,workdir=/mnt/work overlay /mnt/root || exit 1
cd /mnt/root || exit 1
for directory in proc sys dev; do mount --rbind "/$directory" "$directory"; done
mkdir -p "lib/modules" && ln -s "/usr/lib/uml/modules/$(uname -r)" lib/modules/ # for what the kernel loads by itself
mkdir -p dev/pts dev/shm dev/net out stage
mount -t devpts -o ptmxmode=666 devpts dev/pts
mount -t tmpfs shm dev/shm
[ -e dev/net/tun ] || mknod dev/net/tun c 10 200
chmod 666 dev/net/tun dev/ptmx
mount -t tmpfs run run
mount -t tmpfs tmp tmp
chmod 1777 tmp dev/shm
mount -t hostfs -o "$OUT" none out
mount -t hostfs -o "$STAGE" none stage
pivot_root . mnt
exec chroot . /bin/bash -c '
    hostname stage
    ip link set lo up
    /usr/bin/python3 -B /stage/stage.py /out $SCENES >/out/stage.log 2>&1
    echo $? >/out/status
    sync
    halt -f
' </dev/null
