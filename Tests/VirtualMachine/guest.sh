#!/usr/bin/env bash
# In the virtual machine, its first process: starts udev, D-Bus and udisks, runs the program, ends the machine.
#
#   guest.sh STICKS PROGRAM [OPTION…]    STICKS: where the host has the images of the sticks
export TOLVANDER_STICKS=$1
shift
export PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 HOME=/root GTEST_COLOR=no

finish() {
  # The kernel hands over what it has buffered before the machine's power goes.
  printf 'DriveTests ended with %s\n' "$1" >/dev/ttyS1
  sleep 0.2
  busybox poweroff -f
}

mount -t proc proc /proc
mount -t sysfs sysfs /sys
for place in /run /media; do
  mount -t tmpfs tmpfs "$place"
done
mkdir -p /run/dbus /run/lock

{
  /lib/systemd/systemd-udevd --daemon
  udevadm trigger --settle --subsystem-match=usb
  dbus-daemon --system --fork --nopidfile
  /usr/libexec/udisks2/udisksd --no-debug &
  gdbus wait --system --timeout 60 org.freedesktop.UDisks2
} >/dev/console 2>&1
stty -F /dev/ttyS1 raw 2>/dev/null
"$@" >/dev/ttyS1 2>&1 </dev/null
finish $?
