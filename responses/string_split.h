// Splitting of the camera's packed texts ("qp" settings, command output
// fields) at a separator character.
#pragma once

#include <string>
#include <vector>

namespace responses {

// Empties parts, fills it with the pieces of text between separators (the
// last piece is the rest of the text, so there is always at least one) and
// returns their number.
int string_split(const std::string& text, std::vector<std::string>& parts, char separator);

}  // namespace responses
