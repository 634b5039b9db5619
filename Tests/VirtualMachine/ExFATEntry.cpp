#include "Tests/VirtualMachine/ExFATEntry.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <stdexcept>

#include "TolvanderCore/Files/OwnedDescriptor.h"

namespace tolvander::tests {

namespace {

// A file's entry, its stream's and one with its name.
constexpr std::size_t entrySize = 32;
using EntrySet = std::array<unsigned char, 3 * entrySize>;

bool isOf(const EntrySet& entries, const std::string& name) {
  if (entries[0] != 0x85 || entries[1] != 2 || entries[entrySize] != 0xC0 || entries[2 * entrySize] != 0xC1 ||
      entries[entrySize + 3] != name.size()) {
    return false;
  }
  for (std::size_t index = 0; index < name.size(); ++index) {
    if (entries[2 * entrySize + 2 + 2 * index] != static_cast<unsigned char>(name[index])) {
      return false;
    }
  }
  return true;
}

std::uint16_t checksumOf(const EntrySet& entries) {
  std::uint16_t sum = 0;
  for (std::size_t index = 0; index < entries.size(); ++index) {
    if (index != 2 && index != 3) {  // the checksum itself
      sum = static_cast<std::uint16_t>(((sum << 15U) | (sum >> 1U)) + entries[index]);
    }
  }
  return sum;
}

}  // namespace

void clearOwnOffsets(const FileURL& device, const std::string& name) {
  const OwnedDescriptor disk(open(device.path().c_str(), O_RDWR | O_CLOEXEC));
  ioctl(disk.number(), BLKFLSBUF, 0);
  EntrySet entries{};
  for (off_t offset = 0;
       pread(disk.number(), entries.data(), entries.size(), offset) == ssize_t{entries.size()};
       offset += entrySize) {
    if (isOf(entries, name)) {
      entries[22] = entries[23] = entries[24] = 0;
      const std::uint16_t checksum = checksumOf(entries);
      entries[2] = static_cast<unsigned char>(checksum & 0xFFU);
      entries[3] = static_cast<unsigned char>(checksum >> 8U);
      if (pwrite(disk.number(), entries.data(), entries.size(), offset) != ssize_t{entries.size()} ||
          fsync(disk.number()) != 0) {
        throw std::runtime_error("can't write the entry of " + name);
      }
      return;
    }
  }
  throw std::runtime_error("there is no entry of " + name);
}

}  // namespace tolvander::tests
