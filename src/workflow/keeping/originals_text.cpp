#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <set>
#include <utility>

#include "workflow/clips/clip_json.h"
#include "workflow/keeping/originals.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

constexpr const char* kFormat = "clipchain originals";
constexpr int kVersion = 1;
constexpr std::size_t kXxh128Digits = 32;
constexpr std::size_t kSha256Digits = 64;
// Places in files are signed for the system.
constexpr Number kLargestNumber = std::numeric_limits<long long>::max();

struct FitOption {
  const char* name;
  bool FitOptions::*field;
};
constexpr FitOption kFitting[] = {{"exact", &FitOptions::exact},
                                  {"common_tracks", &FitOptions::commonTracks},
                                  {"seams_as_they_are", &FitOptions::seamsAsTheyAre}};

// A parser takes many times the memory of what it reads: lists and objects that hold less than
// those of a table of contents, and such as only nest, are refused before it does.
Reason WhyNoTable(std::string_view text) {
  constexpr int kDeepest = 8;
  std::size_t objects = 0;
  std::size_t lists = 0;
  std::size_t items = 0;
  int depth = 0;
  bool isQuoted = false;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    if (c == '"') isQuoted = !isQuoted;
    if (isQuoted) {
      if (c == '\\') ++at;
      continue;
    }
    if (c == '{') ++objects;
    if (c == '[') ++lists;
    if (c == ',') ++items;
    if (c == '{' || c == '[') ++depth;
    if (c == '}' || c == ']') --depth;
    if (depth > kDeepest) return "has a table of contents that is nested too deeply";
  }
  // The shortest range takes 60 bytes, a step 8 with 3 commas.
  constexpr std::size_t kOfObject = 40;
  constexpr std::size_t kOfList = 7;
  constexpr std::size_t kSpare = 4096;
  const std::size_t room = text.size() + kSpare;
  if (objects * kOfObject > room || lists * kOfList > room || items * 5 / 2 > room)
    return "has a table of contents with more parts than its size allows";
  return std::nullopt;
}

// Takes the table apart. The first thing that is wrong is kept; what is read behind it is made of
// nothing, and is for nobody.
class TableReader {
 public:
  Reason Read(const Json& document, Originals& originals) {
    originals = OriginalsIn(document);
    return std::move(why_);
  }

 private:
  void Fault(std::string text) {
    if (!why_) why_ = std::move(text);
  }
  void FaultIn(const char* name, const char* what) {
    Fault(fmt::format("has a \"{}\" in its table of contents that is no {}", name, what));
  }

  const Json& Field(const Json& object, const char* name);
  Number NumberIn(const Json& value, const char* name);
  Number NumberOf(const Json& object, const char* name) {
    return NumberIn(Field(object, name), name);
  }
  std::string DigitsOf(const Json& object, const char* name, std::size_t count);
  const Json& ListOf(const Json& object, const char* name);
  std::string PathIn(const Json& object, const char* name);
  void CheckRange(Number position, Number size, Number end);
  std::vector<RecipeStep> RecipeOf(const Json& object, Number clipSize, Number resultSize);
  timespec TimeOf(const Json& object);
  OriginalClip ClipIn(const Json& object, Number resultSize);
  void TakeOptions(const Json& options, FitOptions& fitting);
  void TakeClips(const Json& clips, Originals& originals);
  Originals OriginalsIn(const Json& document);

  const Json none_;
  const Json noList_ = Json::array();
  Reason why_;
};

const Json& TableReader::Field(const Json& object, const char* name) {
  const auto field = object.is_object() ? object.find(name) : object.end();
  if (field != object.end()) return *field;
  Fault(fmt::format("has no \"{}\" in its table of contents", name));
  return none_;
}

Number TableReader::NumberIn(const Json& value, const char* name) {
  // 1e300, -1 and 0.5 are numbers, too, and would become some size or place.
  if (value.is_number_unsigned() && value.get<Number>() <= kLargestNumber)
    return value.get<Number>();
  FaultIn(name, "number");
  return 0;
}

std::string TableReader::DigitsOf(const Json& object, const char* name, std::size_t count) {
  const Json& value = Field(object, name);
  if (!value.is_string()) {
    FaultIn(name, "text");
    return "";
  }
  std::string digits = value.get<std::string>();
  // One in capitals would never be equal to the one that is reckoned, and its clip be called
  // damaged.
  if (digits.size() != count || digits.find_first_not_of("0123456789abcdef") != std::string::npos)
    FaultIn(name, "hash");
  return digits;
}

const Json& TableReader::ListOf(const Json& object, const char* name) {
  const Json& value = Field(object, name);
  if (value.is_array()) return value;
  FaultIn(name, "list");
  return noList_;
}

std::string TableReader::PathIn(const Json& object, const char* name) {
  const std::optional<std::string> path = PathFrom(Field(object, name));
  if (!path) FaultIn(name, "path");
  return path.value_or("");
}

// The part of the numbers that lies in the merged file.
void TableReader::CheckRange(Number position, Number size, Number end) {
  if (position > end || size > end - position)
    Fault("speaks of bytes behind the end of the merged file");
}

std::vector<RecipeStep> TableReader::RecipeOf(const Json& object, Number clipSize,
                                              Number resultSize) {
  std::vector<RecipeStep> recipe;
  Number left = clipSize;
  const auto take = [&](Number size) {
    if (size > left) Fault("has a recipe that makes more than its clip");
    left -= std::min(size, left);
  };
  const Json& steps = ListOf(object, "recipe");
  for (const Json& step : steps) {
    if (!step.is_array() || step.size() != 3) Fault("has a recipe that makes no sense");
    if (why_) return recipe;
    const RecipeStep next{NumberIn(step[0], "recipe"), NumberIn(step[1], "recipe"),
                          NumberIn(step[2], "recipe")};
    const bool last = recipe.size() + 1 == steps.size();
    if (next.size == 0 && !(last && next.kept != 0)) Fault("has a recipe with an empty step");
    take(next.kept);
    take(next.size);
    CheckRange(next.position, next.size, resultSize);
    recipe.push_back(next);
  }
  if (left != 0) Fault("has a recipe that makes less than its clip");
  return recipe;
}

timespec TableReader::TimeOf(const Json& object) {
  const Json& value = ListOf(object, "modified");
  timespec time{};
  if (value.size() != 2 || !value[0].is_number_integer() || !value[1].is_number_unsigned() ||
      value[1].get<Number>() >= 1'000'000'000) {
    Fault("has a time in its table of contents that is none");
    return time;
  }
  time.tv_sec = value[0].get<std::int64_t>();
  time.tv_nsec = value[1].get<std::int64_t>();
  return time;
}

OriginalClip TableReader::ClipIn(const Json& object, Number resultSize) {
  OriginalClip clip;
  clip.name = PathIn(object, "name");
  // A split makes files of these names: "../x" would stand outside of its folder.
  if (!IsFileName(clip.name)) Fault("has a clip of a name that no single file can have");
  clip.place = PathIn(object, "place");
  clip.size = NumberOf(object, "size");
  clip.modified = TimeOf(object);
  clip.hashes.xxh128 = DigitsOf(object, "xxh128", kXxh128Digits);
  if (object.contains("sha256")) clip.hashes.sha256 = DigitsOf(object, "sha256", kSha256Digits);
  clip.recipe = RecipeOf(object, clip.size, resultSize);
  return clip;
}

void TableReader::TakeOptions(const Json& options, FitOptions& fitting) {
  for (const FitOption& option : kFitting) {
    const Json& value = Field(options, option.name);
    if (!value.is_boolean()) return Fault("has an option in its table of contents that is none");
    fitting.*option.field = value.get<bool>();
  }
  // An archive without the field is of a result without chapters.
  if (!options.contains("chapters") || options["chapters"].is_null()) return;
  fitting.chapters = true;
  for (const Json& title : ListOf(options, "chapters")) {
    if (!title.is_string()) return Fault("has a chapter in its table of contents without a title");
    fitting.titles.push_back(title.get<std::string>());
  }
}

void TableReader::TakeClips(const Json& clips, Originals& originals) {
  // A clip of that name could be taken for the table of contents.
  std::set<std::string> names{std::string(kContentsName)};
  Number left = kLargestNumber;
  for (const Json& clip : clips) {
    if (why_) return;
    originals.clips.push_back(ClipIn(clip, originals.resultSize));
    // So that no sum of sizes overflows for whoever adds them up.
    if (originals.clips.back().size > left) return Fault("has clips that are too large");
    left -= originals.clips.back().size;
    // A split makes them in one folder.
    if (!names.insert(originals.clips.back().name).second) Fault("has two clips of one name");
  }
  if (originals.clips.empty()) Fault("has no clip");
}

Originals TableReader::OriginalsIn(const Json& document) {
  Originals originals;
  if (Field(document, "format") != kFormat) Fault("is of another program");
  if (Field(document, "version") != kVersion)
    Fault(fmt::format("is not of version {}, which this program knows", kVersion));
  const Json& result = Field(document, "result");
  originals.resultSize = NumberOf(result, "size");
  for (const Json& range : ListOf(result, "own")) {
    if (why_) break;
    originals.own.push_back({NumberOf(range, "position"), NumberOf(range, "size"),
                             DigitsOf(range, "xxh128", kXxh128Digits)});
    CheckRange(originals.own.back().position, originals.own.back().size, originals.resultSize);
  }
  TakeOptions(Field(document, "options"), originals.options);
  TakeClips(ListOf(document, "clips"), originals);
  return originals;
}

Json PathJson(const std::string& path) {
  Json object;
  SetPath(object, path);
  return object;
}

Json ClipJson(const OriginalClip& clip) {
  Json object;
  object["name"] = PathJson(clip.name);
  object["place"] = PathJson(clip.place);
  object["size"] = clip.size;
  object["modified"] = {clip.modified.tv_sec, clip.modified.tv_nsec};
  object["xxh128"] = clip.hashes.xxh128;
  if (!clip.hashes.sha256.empty()) object["sha256"] = clip.hashes.sha256;
  object["recipe"] = Json::array();
  for (const RecipeStep& step : clip.recipe)
    object["recipe"].push_back({step.kept, step.position, step.size});
  return object;
}

}  // namespace

std::string OriginalsText(const Originals& originals) {
  Json document;
  document["format"] = kFormat;
  document["version"] = kVersion;
  Json& result = document["result"];
  result["size"] = originals.resultSize;
  result["own"] = Json::array();
  for (const OwnRange& range : originals.own) {
    Json& object = result["own"].emplace_back();
    object["position"] = range.position;
    object["size"] = range.size;
    object["xxh128"] = range.xxh128;
  }
  for (const FitOption& option : kFitting)
    document["options"][option.name] = originals.options.*option.field;
  document["options"]["chapters"] =
      originals.options.chapters ? Json(originals.options.titles) : Json();
  document["clips"] = Json::array();
  for (const OriginalClip& clip : originals.clips) document["clips"].push_back(ClipJson(clip));
  return document.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

Reason ReadOriginals(const std::string& text, Originals& originals) {
  if (Reason why = WhyNoTable(text)) return why;
  const Json document = Json::parse(text, nullptr, false);
  if (document.is_discarded()) return "has a table of contents that is no JSON";
  return TableReader().Read(document, originals);
}

}  // namespace clipchain
