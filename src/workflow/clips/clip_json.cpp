#include "workflow/clips/clip_json.h"

#include <fmt/format.h>

#include <charconv>
#include <system_error>

#include "foundation/strings.h"
#include "workflow/findings/clip_words.h"

namespace clipchain {

namespace {

bool IsText(const std::string& bytes) {
  int result = 0;
  const QUIRVA::CMacChar text(bytes.c_str(), result);
  return result == 0;
}

std::optional<std::string> BytesOf(const std::string& digits) {
  if (digits.size() % 2 != 0) return std::nullopt;
  std::string bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    unsigned char byte = 0;
    const char* const end = digits.data() + i + 2;
    const auto [stop, error] = std::from_chars(end - 2, end, byte, 16);
    if (error != std::errc() || stop != end) return std::nullopt;
    bytes += static_cast<char>(byte);
  }
  return bytes;
}

// The field as text; nothing if it is absent or something else.
std::optional<std::string> TextOf(const Json& object, const char* name) {
  const auto field = object.find(name);
  if (field == object.end() || !field->is_string()) return std::nullopt;
  return field->get<std::string>();
}

}  // namespace

Json DateJson(const std::optional<MP4G::_tagSequenceTimedate>& date) {
  return date ? Json(IsoDate(*date)) : Json();
}

Json GuidJson(const _GUID& id) { return id == _GUID{} ? Json() : Json(QUIRVA::GuidText(id)); }

Json SecondsJson(long long ticks, unsigned int timeScale) {
  return timeScale != 0 ? Json(static_cast<double>(ticks) / timeScale) : Json();
}

void SetPath(Json& object, const std::string& path) {
  object["path"] = path;
  if (IsText(path)) return;
  std::string digits;
  // Text in JSON is UTF-8: of other bytes the readable form has lost some.
  for (const char c : path) digits += fmt::format("{:02x}", static_cast<unsigned char>(c));
  object["path_bytes"] = digits;
}

std::optional<std::string> PathFrom(const Json& object) {
  std::optional<std::string> path = TextOf(object, "path");
  if (object.contains("path_bytes")) {
    const std::optional<std::string> digits = TextOf(object, "path_bytes");
    path = digits ? BytesOf(*digits) : std::nullopt;
  }
  // A path ends at its first zero, and would name another file.
  const bool possible = path && !path->empty() && path->find('\0') == std::string::npos;
  return possible ? path : std::nullopt;
}

std::string JsonText(const Json& document) {
  // Titles and names may hold bytes that are no text; a document that can't be parsed helps nobody.
  return document.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace clipchain
