#include "workflow/clip_json.h"

#include <fmt/format.h>

#include "foundation/strings.h"
#include "workflow/clip_words.h"

namespace clipchain {

namespace {

bool IsText(const std::string& bytes) {
  int result = 0;
  const QUIRVA::CMacChar text(bytes.c_str(), result);
  return result == 0;
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
  for (const char c : path) digits += fmt::format("{:02x}", static_cast<unsigned char>(c));
  object["path_bytes"] = digits;
}

std::string JsonText(const Json& document) {
  return document.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace clipchain
