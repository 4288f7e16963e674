// Puts result codes into words.
#pragma once

#include <string>

#include "foundation/result.h"

namespace clipchain {

// What is wrong with an input that answered this code, as the rest of a sentence that begins with
// its name: "has another number of tracks than the first clip". `first`: it was the first input.
std::string InputWords(HRESULT result, bool first);

// What is wrong with a clip that could not be analysed, as the rest of such a sentence.
std::string ClipWords(HRESULT result);

// Why clips that were taken can't be made one file, as the rest of a sentence about it.
std::string OutputWords(HRESULT result);

}  // namespace clipchain
