// Tells which characters of a path can be printed as they are. Characters are those that
// QUIRVA::WidePathFromBytes makes.
#pragma once

namespace clipchain {

// Checks whether it stands for a byte that is no part of UTF-8.
bool IsStrayByte(wchar_t c);

// Checks whether a terminal may take it for a command: below U+0020, U+007F to U+009F, and the
// bytes 0x80 to 0x9F, which are the same commands where no UTF-8 is spoken.
bool IsControl(wchar_t c);

// Checks whether it shows something else than what it is: marks of direction, characters without a
// width, separators of lines, and what is no character.
bool Misleads(wchar_t c);

}  // namespace clipchain
