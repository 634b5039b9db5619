#include "Shells/CommandLine/CommandLine.h"

int main(int argumentCount, char** arguments) {
  return static_cast<int>(tolvander::shell::runCommandLine(argumentCount, arguments));
}
