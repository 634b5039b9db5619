#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>

#include "Samples/Bytes.h"
#include "Tests/Support/Machine/FaultInjection.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Files/DescriptorIO.h"

namespace tolvander::tests {
namespace {

// Writes with the fault at the first call, and returns the content of the file, which was "0123456789".
std::string contentAfter(const Fault& fault, const std::function<void(const OwnedDescriptor&)>& write) {
  const TemporaryFolder folder;
  const FileURL url = folder / "file";
  writeFile(url, "0123456789");
  const OwnedDescriptor file(open(url.path().c_str(), O_WRONLY | O_CLOEXEC));
  const FaultOutcome outcome = runWithFault(fault, 1, [&] { write(file); });
  EXPECT_TRUE(outcome.call == "write" || outcome.call == "pwrite") << outcome.call;
  EXPECT_EQ(outcome.message, "");
  return readFile(url);
}

void writeLetters(const OwnedDescriptor& file) { writeAll(file, bytesOf("abcdefgh"), FileURL("/file")); }

void writeLettersAt1(const OwnedDescriptor& file) {
  writeAllAt(file, 1, bytesOf("abcdefgh"), FileURL("/file"));
}

TEST(DescriptorIOFaults, theRestFollowsAPartialWrite) {
  EXPECT_EQ(contentAfter(Fault::shortWrite(), writeLetters), "abcdefgh89");
  EXPECT_EQ(contentAfter(Fault::shortWrite(), writeLettersAt1), "0abcdefgh9");
}

TEST(DescriptorIOFaults, anInterruptedWriteIsRepeated) {
  EXPECT_EQ(contentAfter(Fault::failing(EINTR), writeLetters), "abcdefgh89");
  EXPECT_EQ(contentAfter(Fault::failing(EINTR), writeLettersAt1), "0abcdefgh9");
}

}  // namespace
}  // namespace tolvander::tests
