// Holds the one script of a page. Everything can be read without it.
#pragma once

namespace clipchain {

// Puts a field in front of the recordings, which hides those that do not have all words in it, and
// opens what is folded away where a link leads into it.
extern const char kHtmlScript[];
// Lets the page run it, and nothing else: 'sha256-…' of its bytes.
extern const char kHtmlScriptHash[];

}  // namespace clipchain
