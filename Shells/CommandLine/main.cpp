#include "Shells/CommandLine/CommandLine.h"
#include "Shells/CommandLine/StandardDescriptors.h"

int main(int argumentCount, char** arguments) {
  tolvander::shell::openClosedStandardDescriptors();
  return static_cast<int>(tolvander::shell::runCommandLine(argumentCount, arguments));
}
