#pragma once

#include <functional>
#include <optional>
#include <string>

namespace tolvander::tests {

// Runs `body` in a child process, for what a test may not do to its own process. A failed expectation or an
// exception there, or a crash of the child, is a failure of the calling test.
void inChildProcess(const std::function<void()>& body);

// Runs two bodies like inChildProcess, at the same time.
void inTwoChildProcesses(const std::function<void()>& first, const std::function<void()>& second);

// Like inChildProcess, in a private mount namespace: other processes don't see its mounts, which end with
// the child.
void inPrivateMountNamespace(const std::function<void()>& body);

// Why inPrivateMountNamespace is not available; absent if it is.
std::optional<std::string> reasonAgainstPrivateMounts();

}  // namespace tolvander::tests
