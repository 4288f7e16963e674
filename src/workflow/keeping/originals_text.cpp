#include <fmt/format.h>

#include <limits>
#include <optional>
#include <set>

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

// What is wrong with the text.
struct Fault {
  std::string text;
};

// A parser takes many times the memory of what it reads: lists and objects that hold less than
// those of a table of contents, and such as only nest, are refused before it does.
void CheckShape(std::string_view text) {
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
    if (depth > kDeepest) throw Fault{"has a table of contents that is nested too deeply"};
  }
  // The shortest range takes 60 bytes, a step 8 with 3 commas.
  constexpr std::size_t kOfObject = 40;
  constexpr std::size_t kOfList = 7;
  constexpr std::size_t kSpare = 4096;
  const std::size_t room = text.size() + kSpare;
  if (objects * kOfObject > room || lists * kOfList > room || items * 5 / 2 > room)
    throw Fault{"has a table of contents with more parts than its size allows"};
}

const Json& Field(const Json& object, const char* name) {
  const auto field = object.is_object() ? object.find(name) : object.end();
  if (field == object.end())
    throw Fault{fmt::format("has no \"{}\" in its table of contents", name)};
  return *field;
}

Number NumberIn(const Json& value, const char* name) {
  // 1e300, -1 and 0.5 are numbers, too, and would become some size or place.
  if (!value.is_number_unsigned() || value.get<Number>() > kLargestNumber)
    throw Fault{fmt::format("has a \"{}\" in its table of contents that is no number", name)};
  return value.get<Number>();
}

Number NumberOf(const Json& object, const char* name) {
  return NumberIn(Field(object, name), name);
}

std::string TextOf(const Json& object, const char* name) {
  const Json& value = Field(object, name);
  if (!value.is_string())
    throw Fault{fmt::format("has a \"{}\" in its table of contents that is no text", name)};
  return value.get<std::string>();
}

std::string DigitsOf(const Json& object, const char* name, std::size_t count) {
  std::string digits = TextOf(object, name);
  // One in capitals would never be equal to the one that is reckoned, and its clip be called
  // damaged.
  if (digits.size() != count || digits.find_first_not_of("0123456789abcdef") != std::string::npos)
    throw Fault{fmt::format("has a \"{}\" in its table of contents that is no hash", name)};
  return digits;
}

const Json& ListOf(const Json& object, const char* name) {
  const Json& value = Field(object, name);
  if (!value.is_array())
    throw Fault{fmt::format("has a \"{}\" in its table of contents that is no list", name)};
  return value;
}

std::string PathIn(const Json& object, const char* name) {
  const std::optional<std::string> path = PathFrom(Field(object, name));
  if (!path)
    throw Fault{fmt::format("has a \"{}\" in its table of contents that is no path", name)};
  return *path;
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

// The part of the numbers that lies in the merged file.
void CheckRange(Number position, Number size, Number end) {
  if (position > end || size > end - position)
    throw Fault{"speaks of bytes behind the end of the merged file"};
}

std::vector<RecipeStep> RecipeOf(const Json& object, Number clipSize, Number resultSize) {
  std::vector<RecipeStep> recipe;
  Number left = clipSize;
  const auto take = [&left](Number size) {
    if (size > left) throw Fault{"has a recipe that makes more than its clip"};
    left -= size;
  };
  const Json& steps = ListOf(object, "recipe");
  for (const Json& step : steps) {
    if (!step.is_array() || step.size() != 3) throw Fault{"has a recipe that makes no sense"};
    const RecipeStep next{NumberIn(step[0], "recipe"), NumberIn(step[1], "recipe"),
                          NumberIn(step[2], "recipe")};
    const bool last = recipe.size() + 1 == steps.size();
    if (next.size == 0 && !(last && next.kept != 0)) throw Fault{"has a recipe with an empty step"};
    take(next.kept);
    take(next.size);
    CheckRange(next.position, next.size, resultSize);
    recipe.push_back(next);
  }
  if (left != 0) throw Fault{"has a recipe that makes less than its clip"};
  return recipe;
}

timespec TimeOf(const Json& object) {
  const Json& value = ListOf(object, "modified");
  if (value.size() != 2 || !value[0].is_number_integer() || !value[1].is_number_unsigned() ||
      value[1].get<Number>() >= 1'000'000'000)
    throw Fault{"has a time in its table of contents that is none"};
  timespec time{};
  time.tv_sec = value[0].get<std::int64_t>();
  time.tv_nsec = value[1].get<std::int64_t>();
  return time;
}

OriginalClip ClipIn(const Json& object, Number resultSize) {
  OriginalClip clip;
  clip.name = PathIn(object, "name");
  // A split makes files of these names: "../x" would stand outside of its folder.
  if (!IsFileName(clip.name)) throw Fault{"has a clip of a name that no single file can have"};
  clip.place = PathIn(object, "place");
  clip.size = NumberOf(object, "size");
  clip.modified = TimeOf(object);
  clip.hashes.xxh128 = DigitsOf(object, "xxh128", kXxh128Digits);
  if (object.contains("sha256")) clip.hashes.sha256 = DigitsOf(object, "sha256", kSha256Digits);
  clip.recipe = RecipeOf(object, clip.size, resultSize);
  return clip;
}

// An archive without the field is of a result without chapters.
void TakeTitles(const Json& options, FitOptions& fitting) {
  if (!options.contains("chapters") || options["chapters"].is_null()) return;
  fitting.chapters = true;
  for (const Json& title : ListOf(options, "chapters")) {
    if (!title.is_string()) throw Fault{"has a chapter in its table of contents without a title"};
    fitting.titles.push_back(title.get<std::string>());
  }
}

Originals OriginalsIn(const Json& document) {
  if (Field(document, "format") != kFormat) throw Fault{"is of another program"};
  if (Field(document, "version") != kVersion)
    throw Fault{fmt::format("is not of version {}, which this program knows", kVersion)};
  Originals originals;
  const Json& result = Field(document, "result");
  originals.resultSize = NumberOf(result, "size");
  for (const Json& range : ListOf(result, "own")) {
    originals.own.push_back({NumberOf(range, "position"), NumberOf(range, "size"),
                             DigitsOf(range, "xxh128", kXxh128Digits)});
    CheckRange(originals.own.back().position, originals.own.back().size, originals.resultSize);
  }
  const Json& options = Field(document, "options");
  for (const FitOption& option : kFitting) {
    const Json& value = Field(options, option.name);
    if (!value.is_boolean()) throw Fault{"has an option in its table of contents that is none"};
    originals.options.*option.field = value.get<bool>();
  }
  TakeTitles(options, originals.options);
  // A clip of that name could be taken for the table of contents.
  std::set<std::string> names{std::string(kContentsName)};
  Number left = kLargestNumber;
  for (const Json& clip : ListOf(document, "clips")) {
    originals.clips.push_back(ClipIn(clip, originals.resultSize));
    // So that no sum of sizes overflows for whoever adds them up.
    if (originals.clips.back().size > left) throw Fault{"has clips that are too large"};
    left -= originals.clips.back().size;
    // A split makes them in one folder.
    if (!names.insert(originals.clips.back().name).second) throw Fault{"has two clips of one name"};
  }
  if (originals.clips.empty()) throw Fault{"has no clip"};
  return originals;
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
  try {
    CheckShape(text);
    originals = OriginalsIn(Json::parse(text));
    return std::nullopt;
  } catch (const Json::exception&) {
    return "has a table of contents that is no JSON";
  } catch (const Fault& fault) {
    return fault.text;
  }
}

}  // namespace clipchain
