#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quillmoria {

/// The fields of a response's head: names in any letter case, folded lines joined, values without white space around.
class ResponseFields {
 public:
  ResponseFields() = default;

  /// `head` is a status line and header lines.
  explicit ResponseFields(std::string_view head);

  /// The field's first value, and the last one: a field that is no list should stand there once. Empty if there is
  /// none.
  std::string_view first(std::string_view name) const;
  std::string_view last(std::string_view name) const;

  /// All values of a field that is a list, with ", " between them.
  std::string joined(std::string_view name) const;

 private:
  std::vector<std::pair<std::string, std::string>> fields_;  ///< names in lower case
};

/// `text` without spaces and tabs around it.
std::string_view withoutBlanks(std::string_view text);

}  // namespace quillmoria
