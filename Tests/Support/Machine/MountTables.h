#pragma once

#include <string_view>

// Contents of /proc/self/mountinfo on several kinds of machines.
namespace tolvander::tests {

// A desktop with an internal disk, a card in a reader, and virtual file systems of the kernel.
inline constexpr std::string_view desktopMounts =
    "22 28 0:21 / /proc rw,nosuid,nodev,noexec,relatime shared:12 - proc proc rw\n"
    "23 28 0:22 / /sys rw,nosuid,nodev,noexec,relatime shared:2 - sysfs sysfs rw\n"
    "24 28 0:5 / /dev rw,nosuid,relatime shared:8 - devtmpfs udev rw,size=8129560k,mode=755\n"
    "25 24 0:23 / /dev/pts rw,nosuid,noexec,relatime shared:9 - devpts devpts rw,gid=5,mode=620\n"
    "26 28 0:24 / /run rw,nosuid,nodev,noexec,relatime shared:11 - tmpfs tmpfs rw,size=1630060k\n"
    "28 1 259:2 / / rw,relatime shared:1 - ext4 /dev/nvme0n1p2 rw,errors=remount-ro\n"
    "90 28 259:1 / /boot/efi rw,relatime shared:34 - vfat /dev/nvme0n1p1 rw,fmask=0077\n"
    "95 26 0:50 / /run/user/1000 rw,nosuid,nodev,relatime shared:60 - tmpfs tmpfs rw,uid=1000\n"
    "96 95 0:51 / /run/user/1000/gvfs rw,nosuid,nodev,relatime - fuse.gvfsd-fuse gvfsd-fuse rw,user_id=1000\n"
    "120 28 8:17 / /media/me/EOS_DIGITAL rw,nosuid,nodev,relatime shared:70 - vfat /dev/sdb1 rw,uid=1000\n";

// Added to a desktop: network shares.
inline constexpr std::string_view networkMounts =
    "130 28 0:60 / /mnt/nas rw,relatime - nfs4 nas:/export/photos rw,vers=4.2\n"
    "131 28 0:61 / /mnt/office rw,relatime - cifs //office/photos rw,vers=3.1.1\n"
    "132 28 0:62 / /home/me/remote rw,nosuid,nodev,relatime - fuse.sshfs me@host:/photos rw,user_id=1000\n"
    "133 28 0:63 / /home/me/cloud rw,nosuid,nodev,relatime - fuse.rclone cloud:photos rw,user_id=1000\n";

// Added to a desktop: disk images.
inline constexpr std::string_view loopMounts =
    "140 28 7:3 / /snap/core/1 ro,nodev,relatime - squashfs /dev/loop3 ro\n"
    "141 28 7:4 / /mnt/image rw,relatime - ext4 /dev/loop4 rw\n";

// Added to a desktop: names with white space, a backslash, and bytes that aren't UTF-8.
inline constexpr std::string_view oddNameMounts =
    "150 28 8:33 / /media/me/MY\\040CARD rw - vfat /dev/sdc1 rw\n"
    "151 28 8:49 / /media/me/a\\011b\\012c\\134d rw - vfat /dev/sdd1 rw\n"
    "152 28 8:65 / /media/me/Gr\xC3\xBC\xC3\x9F rw - vfat /dev/sde1 rw\n"
    "153 28 8:81 / /media/me/\x90\xFF rw - vfat /dev/sdf1 rw\n";

}  // namespace tolvander::tests
