#!/usr/bin/env bash
# The ALSA backend on a real kernel sequencer: long SysEx both ways, then clients that write in between, full pools, ports
# that come and go, a sequencer that dies; in a small virtual machine that runs this machine's own programs.
# The kernel comes from a Debian package that is unpacked, not installed.  Skipped where qemu or the kernel cannot be had.
set -u
root=$(cd "$(dirname "$(readlink -f "$0")")/../.." && pwd)
bin=${TONALITH_BIN:-$root/build/bin}
[ -x "$bin/midi_matrix" ] || { echo "midi_matrix is not built"; exit 1; }
"$root/tools/packages.sh" vm >/dev/null 2>&1 || { echo "skipped: qemu cannot be installed here"; exit 0; }
command -v qemu-system-x86_64 >/dev/null || { echo "skipped: there is no qemu"; exit 0; }
work=$root/build/alsa-machine
mkdir -p "$work/share"
cd "$work" || exit 1

if [ ! -f kernel/version ]; then
  package=$(apt-cache depends linux-image-amd64 2>/dev/null | awk '/Depends: linux-image/ {print $2; exit}')
  [ -n "$package" ] && apt-get download -q "$package" >download.log 2>&1 ||
    { echo "skipped: the kernel package cannot be had"; exit 0; }
  rm -rf kernel && mkdir kernel && dpkg-deb -x "$package"_*.deb kernel && rm -f "$package"_*.deb
  version=$(ls kernel/lib/modules | head -1)
  depmod -b "$PWD/kernel" "$version"
  echo "$version" >kernel/version
fi
version=$(cat kernel/version)

if [ ! -f start.gz ]; then
  rm -rf start && mkdir -p start/bin start/lib/modules/"$version" start/proc start/sys start/dev start/host start/rw start/new
  cp /bin/busybox start/bin/busybox
  cp kernel/lib/modules/"$version"/modules.* start/lib/modules/"$version"/
  for module in virtio_pci 9pnet_virtio 9p overlay snd-seq snd-seq-midi snd-virmidi snd-seq-dummy; do
    modprobe -d "$PWD/kernel" -S "$version" --show-depends "$module" 2>/dev/null | awk '/^insmod/ {print $2}'
  done | sort -u | while read -r file; do
    target=start/lib/modules/$version/${file#*lib/modules/"$version"/}
    mkdir -p "$(dirname "$target")" && cp "$file" "$target"
  done
  cat >start/init <<'INIT'
#!/bin/busybox sh
/bin/busybox --install -s /bin
export PATH=/bin
mount -t proc proc /proc; mount -t sysfs sys /sys; mount -t devtmpfs dev /dev
for m in virtio_pci 9pnet_virtio 9p overlay snd-seq snd-seq-midi snd-virmidi snd-seq-dummy; do modprobe $m; done
mount -t 9p -o trans=virtio,version=9p2000.L,msize=262144,ro host /host
mount -t tmpfs t /rw; mkdir /rw/up /rw/wk
mount -t overlay -o lowerdir=/host,upperdir=/rw/up,workdir=/rw/wk o /new
mount --bind /dev /new/dev; mount -t proc proc /new/proc; mount -t sysfs sys /new/sys
mkdir -p /new/dev/shm; mount -t tmpfs shm /new/dev/shm; mount -t tmpfs run /new/run
mkdir -p /new/mnt; mount -t 9p -o trans=virtio,version=9p2000.L out /new/mnt
ifconfig lo 127.0.0.1
chroot /new /bin/bash /mnt/run.sh
sync
poweroff -f
INIT
  chmod +x start/init
  (cd start && find . | cpio -o -H newc --quiet | gzip -1) >start.part && mv start.part start.gz
fi

rm -f share/result share/log
cat >share/run.sh <<RUN
cd /tmp
$bin/midi_matrix alsa $bin/midi_peer >/mnt/log 2>&1
result=\$?
device=\$(ls /sys/bus/platform/drivers/snd_virmidi | grep snd_virmidi | head -1)
driver=/sys/bus/platform/drivers/snd_virmidi
$bin/midi_alsa_faults $bin/midi_peer "echo \$device >\$driver/unbind" "echo \$device >\$driver/bind" >>/mnt/log 2>/mnt/noise ||
  result=1
echo \$result >/mnt/result
RUN
timeout 600 qemu-system-x86_64 -accel tcg,thread=multi -cpu max -m 2048 -smp 2 -nographic -no-reboot \
  -kernel kernel/boot/vmlinuz-"$version" -initrd start.gz -append 'console=ttyS0 quiet panic=1' \
  -virtfs local,path=/,mount_tag=host,security_model=none,readonly=on,multidevs=remap \
  -virtfs local,path="$PWD/share",mount_tag=out,security_model=none </dev/null >console.log 2>&1
cat share/log 2>/dev/null
if [ ! -f share/result ]; then
  tail -5 console.log
  echo "the virtual machine brought no result"
  exit 1
fi
exit "$(cat share/result)"
