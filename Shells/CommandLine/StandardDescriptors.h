#pragma once

namespace tolvander::shell {

// Opens /dev/null for each of the standard input, output and errors that the program was started without. The
// next file that is opened would get its number otherwise, and what is meant for people would be written into
// that file. To be called before anything is opened.
void openClosedStandardDescriptors();

}  // namespace tolvander::shell
