#include <algorithm>
#include <string_view>

#include "Fuzzing.h"
#include "modern/archive/Database.h"
#include "modern/archive/SearchWords.h"

namespace {

/// An index of words like the archive's, in memory.
quillmoria::Database& index() {
  static quillmoria::Database database = [] {
    quillmoria::Database made(":memory:");
    made.execute("CREATE VIRTUAL TABLE search USING fts5(plain, tokenize=words)");
    return made;
  }();
  return database;
}

bool isFound(const std::string& typed) {
  const std::string expression = quillmoria::searchExpression(typed);
  if (expression.empty()) return false;
  return index().integer("SELECT count(*) FROM search WHERE search MATCH ?", std::string_view(expression)) == 1;
}

}  // namespace

/// What a user types. It is never an error, and finds the text that has all of it; with a word more, which that text
/// does not have, or has where it is excluded, it finds nothing.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string typed = textOf(data, size);
  std::string text = typed;
  // What is left out of a search is nothing that a text has.
  std::ranges::replace(text, '-', ' ');
  std::string wanted = text;
  std::ranges::replace(wanted, '"', ' ');
  index().run("INSERT INTO search(rowid, plain) VALUES(1, ?)", std::string_view("qxzjword " + text));
  isFound(typed);
  require(isFound("qxzjword " + text));
  require(isFound("qxzjword " + wanted));
  require(isFound("qxzjw* " + text));
  require(!isFound("qxzjother " + text));
  require(!isFound("-qxzjword qxzjword " + text));
  index().run("DELETE FROM search");
  return 0;
}
