#!/bin/busybox sh
# The machine's first process: makes the host's files, with memory over them, the root, and goes there.
busybox=/bin/busybox
$busybox mount -t proc proc /proc
$busybox mount -t devtmpfs devtmpfs /dev
for module in /modules/*; do
  case $module in
    *usb-storage.ko) $busybox insmod "$module" delay_use=0 ;;  # instead of a second for each plug
    *) $busybox insmod "$module" ;;
  esac || echo "init: can't load $module"
done
$busybox mount -t 9p -o ro,trans=virtio,version=9p2000.L,msize=1048576,cache=loose host /host &&
  $busybox mount -t tmpfs tmpfs /memory &&
  $busybox mkdir /memory/upper /memory/work &&
  $busybox mount -t overlay -o lowerdir=/host,upperdir=/memory/upper,workdir=/memory/work overlay /root ||
  { echo "init: no root"; exec $busybox poweroff -f; }
. /parameters
$busybox mount --move /dev /root/dev
$busybox umount /proc
exec $busybox switch_root /root "$guest" "$@"
