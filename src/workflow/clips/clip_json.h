// Tells programs what clips say. Not installed: programs that link the library
// need no JSON library for it.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "clip/vireo_mp4.h"
#include "foundation/guid.h"

namespace clipchain {

// Objects keep the order in which their fields were set.
using Json = nlohmann::ordered_json;

// "2024-05-06T07:08:09", or null.
Json DateJson(const std::optional<MP4G::_tagSequenceTimedate>& date);
// Text, or null for zero.
Json GuidJson(const _GUID& id);
// Null without a scale.
Json SecondsJson(long long ticks, unsigned int timeScale);
// Sets "path". Bytes that are no UTF-8 appear there as U+FFFD, and "path_bytes" then has all bytes
// in hexadecimal.
void SetPath(Json& object, const std::string& path);
// The path that SetPath() set, all bytes of it. Nothing if `object` has none, or one that no file
// can have: it is empty, or has a zero byte.
std::optional<std::string> PathFrom(const Json& object);

// The text of a whole document, with a line feed at its end.
std::string JsonText(const Json& document);

}  // namespace clipchain
