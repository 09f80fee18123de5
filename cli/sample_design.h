// The embedded sample design of `tavlin demo`.
#pragma once

#include <string>

namespace tavlin::cli {

// Writes the sample design (stars and a zigzag in three colours, with long moves
// between the parts) as a QEP file. Throws std::runtime_error when the file can't be
// written.
void WriteSampleDesign(const std::string& path);

}  // namespace tavlin::cli
