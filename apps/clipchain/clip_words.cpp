#include "clipchain/clip_words.h"

#include <fmt/format.h>

#include "foundation/strings.h"

namespace clipchain {

namespace {

std::string DateText(const MP4G::_tagSequenceTimedate& date, char between) {
  return fmt::format("{:04}-{:02}-{:02}{}{:02}:{:02}:{:02}", date.year, date.month, date.day,
                     between, date.hour, date.minute, date.second);
}

double Seconds(long long ticks, unsigned int timeScale) {
  return static_cast<double>(ticks) / timeScale;
}

bool IsText(const std::string& bytes) {
  int result = 0;
  const QUIRVA::CMacChar text(bytes.c_str(), result);
  return result == 0;
}

}  // namespace

std::string DateWords(const std::optional<MP4G::_tagSequenceTimedate>& date) {
  return date ? DateText(*date, ' ') : "unknown";
}

std::string GuidWords(const _GUID& id) { return id == _GUID{} ? "none" : QUIRVA::GuidText(id); }

std::string DurationWords(long long ticks, unsigned int timeScale) {
  return timeScale != 0 ? fmt::format("{:.3f} s", Seconds(ticks, timeScale)) : "unknown";
}

Json DateJson(const std::optional<MP4G::_tagSequenceTimedate>& date) {
  return date ? Json(DateText(*date, 'T')) : Json();
}

Json GuidJson(const _GUID& id) { return id == _GUID{} ? Json() : Json(QUIRVA::GuidText(id)); }

Json SecondsJson(long long ticks, unsigned int timeScale) {
  return timeScale != 0 ? Json(Seconds(ticks, timeScale)) : Json();
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
