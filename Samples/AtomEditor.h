#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace tolvander::tests {

// An atom of a QuickTime file: size, type, content.
std::string atom(std::string_view type, std::string_view content);

// A QuickTime file with the content of every atom of one type replaced, wherever it stands in the movie's
// tree, and the sizes around it set right. Chunk offsets stay as they are.
std::string replacingAtoms(std::string_view file, std::string_view type,
                           const std::function<std::string(std::string_view content)>& replacement);

}  // namespace tolvander::tests
