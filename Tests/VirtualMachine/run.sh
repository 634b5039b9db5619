#!/usr/bin/env bash
# Boots a small virtual machine with a kernel that has FAT and USB storage, and runs DriveTests in it.
#
#   run.sh PROGRAM WORK [OPTION…]    PROGRAM: DriveTests; WORK: a folder for the kernel and the machine's files;
#                                    OPTION: GoogleTest's, for PROGRAM
#
# The machine sees the host's files read-only, with a memory file system over them, and has no network. Its
# results come out on the standard output; the exit status is that of PROGRAM, or 1 where the machine failed.
# Logs stay in WORK: results.log, kernel.log, qemu.log. It is killed after 5 minutes, or TOLVANDER_VM_LIMIT seconds.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
program=$(realpath "$1")
mkdir -p "$2"
work=$(realpath "$2")
shift 2
options=("$@")
time_limit=${TOLVANDER_VM_LIMIT:-300}  # seconds

# In the order of need; what these depend on comes by itself. FAT's code pages are those of its default options.
modules=(
  virtio_pci 9pnet_virtio 9p overlay virtio_console
  xhci_pci usb_storage uas sd_mod vfat nls_cp437 nls_ascii nls_utf8 exfat
)

# Debian's own kernel: the cloud kernel has no USB storage. Unpacked, never installed.
fetch_kernel() {
  local package
  package=$(apt-cache depends linux-image-amd64 | sed -n 's/^ *Depends: \(linux-image-[0-9].*\)$/\1/p' | head -n 1)
  [ -n "$package" ] || { echo "test-vm: no linux-image-amd64 in the package lists" >&2; return 1; }
  kernel=$work/$package
  [ ! -e "$kernel/unpacked" ] || return 0
  echo "Fetching $package"
  rm -rf "$kernel"
  mkdir -p "$kernel"
  (cd "$kernel" && apt-get download -qq "$package" && dpkg-deb -x ./*.deb . && rm ./*.deb)
  [ -e "$kernel/lib" ] || ln -s usr/lib "$kernel/lib"
  depmod -b "$kernel" "$(ls "$kernel/lib/modules")"
  touch "$kernel/unpacked"
}

# The first file system: a shell and the modules, numbered by the order in which they are loaded.
make_initrd() {
  local version root=$work/initrd number=100 module
  version=$(ls "$kernel/lib/modules")
  rm -rf "$root"
  mkdir -p "$root"/{bin,proc,dev,host,memory,root,modules}
  cp "$(command -v busybox)" "$root/bin/busybox"
  cp "$here/init.sh" "$root/init"
  for module in $(modprobe -d "$kernel" -S "$version" --show-depends -a "${modules[@]}" |
    awk '$1 == "insmod" && !seen[$2]++ { print $2 }'); do
    number=$((number + 1))
    case $module in
      *.xz) xz -dc "$module" >"$root/modules/$number-$(basename "$module" .xz)" ;;
      *) cp "$module" "$root/modules/$number-$(basename "$module")" ;;
    esac
  done
  {
    printf 'guest=%q\n' "$here/guest.sh"
    printf 'set -- %s\n' "$(printf '%q ' "$work/sticks" "$program" "${options[@]}")"
  } >"$root/parameters"
  (cd "$root" && find . | busybox cpio -o -H newc 2>/dev/null) >"$work/initrd.cpio"
}

# The sticks, one for each that a test plugs in: a disk with one partition, sparse.
make_sticks() {
  local format sticks=$work/sticks number
  rm -rf "$sticks"
  mkdir "$sticks"
  for format in vfat exfat; do
    truncate -s 96M "$sticks/volume"
    case $format in
      vfat) mkfs.vfat -F 32 -s 1 -n CHARMERA "$sticks/volume" ;;
      exfat) mkfs.exfat -L CHARMERA "$sticks/volume" ;;
    esac >"$work/mkfs.log"
    truncate -s 97M "$sticks/$format-1"
    printf 'label: dos\n1MiB,,%s\n' "$([ $format = vfat ] && echo c || echo 7)" | sfdisk --quiet "$sticks/$format-1"
    dd if="$sticks/volume" of="$sticks/$format-1" bs=1M seek=1 conv=notrunc,sparse status=none
    rm "$sticks/volume"
    for number in {2..16}; do
      cp --sparse=always "$sticks/$format-1" "$sticks/$format-$number"
    done
  done
}

# The program in the machine plugs drives in and pulls them out by QMP: qemu is a client of its own socket
# and hands the other end to the machine as a serial port. An abstract name, since paths may be too long.
run_machine() {
  local qmp="path=tolvander-vm-$$,abstract=on"
  timeout --foreground --kill-after=5 "$time_limit" qemu-system-x86_64 \
    -machine q35 -accel tcg,thread=multi -cpu max,la57=off -smp 2 -m 1024 \
    -nodefaults -no-reboot -display none -nic none \
    -kernel "$kernel"/boot/vmlinuz-* -initrd "$work/initrd.cpio" \
    -append "console=ttyS0 quiet loglevel=4 panic=-1 mitigations=off" \
    -serial "file:$work/kernel.log" \
    -chardev file,id=results,path=/dev/stdout -serial chardev:results \
    -virtfs "local,path=/,mount_tag=host,security_model=none,readonly=on,multidevs=remap" \
    -device qemu-xhci,id=usb \
    -chardev "socket,id=qmp,$qmp,server=on,wait=off" -mon chardev=qmp,mode=control \
    -chardev "socket,id=port,$qmp" -device virtio-serial-pci -device virtserialport,chardev=port,name=qmp \
    </dev/null 2>"$work/qemu.log"
}

fetch_kernel
make_initrd
make_sticks
: >"$work/kernel.log"
machine=0
run_machine | sed -u 's|\r$||' | tee "$work/results.log" || machine=${PIPESTATUS[0]}
status=$(sed -n 's/^DriveTests ended with \([0-9]*\)$/\1/p' "$work/results.log")
if [ "$machine" = 124 ] || [ "$machine" = 137 ]; then
  echo "test-vm: the machine was killed after $time_limit seconds; see kernel.log and results.log in $work" >&2
  exit 1
fi
if [ -z "$status" ]; then
  echo "test-vm: the machine ended without a result (qemu: $machine); see kernel.log, results.log and qemu.log in $work" >&2
  tail -n 5 "$work/kernel.log" "$work/qemu.log" >&2
  exit 1
fi
exit "$status"
