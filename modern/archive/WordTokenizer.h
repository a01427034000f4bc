#pragma once

struct sqlite3;

namespace quillmoria {

/// Makes the tokenizer `words`, by which the archive's index of words is made and asked, known to `connection`; without
/// it nothing can be done with that index. Returns SQLite's code.
///
/// A word is letters, digits and marks, in whatever letter case and with whatever accents. In scripts that put no
/// spaces between words each character is a word of its own, so that a word inside such a text is found as a phrase.
int registerWordTokenizer(sqlite3* connection);

}  // namespace quillmoria
