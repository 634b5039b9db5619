#include "Tests/Support/Machine/UdevRecord.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include "Tests/Support/Machine/TemporaryFolder.h"

namespace tolvander::tests {

void writeUdevRecord(const FileURL& device, const std::string& properties) {
  struct stat status {};
  ASSERT_EQ(stat(device.path().c_str(), &status), 0);
  ASSERT_EQ(mount("tmpfs", "/run", "tmpfs", 0, "size=1m"), 0);
  writeFile(FileURL("/run/udev/data/b" + std::to_string(major(status.st_rdev)) + ":" +
                    std::to_string(minor(status.st_rdev))),
            "I:1\n" + properties + "G:systemd\nQ:systemd\nV:1\n");
}

}  // namespace tolvander::tests
