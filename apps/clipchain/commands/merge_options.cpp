#include "clipchain/commands/merge_options.h"

#include <CLI/CLI.hpp>
#include <string>

namespace clipchain {

namespace {

// Makes a number of bytes of "500M". What is wrong with it, as an option's check says that.
std::string TakeSize(std::string& size) {
  // The parser's own words name its types, and it throws where the number is too large.
  const std::string fault = "takes a size such as 500M or 2G, not \"" + size + '"';
  try {
    // As disks are sold and as other tools count: 1k is 1000, and 1Ki is 1024.
    const CLI::AsSizeValue decimal(true);
    return decimal(size).empty() ? "" : fault;
  } catch (const CLI::Error&) {
    return fault;
  }
}

}  // namespace

void AddMergeSettings(CLI::App& command, SafeMergeOptions& options) {
  command.add_flag("--force", options.force,
                   "Go on in spite of problems, which may damage the result but no clip");
  AddVerify(command, options.verification,
            "What is compared with the clips before the result gets its name: the samples "
            "where clips meet (seams), or every byte, read back from the disk (full)");
  command.add_flag("--faststart", options.faststart,
                   "Put the movie box ahead of the media, so that a player can begin before it has "
                   "all of the result");
  command
      .add_option_function<std::string>(
          "--reflink",
          [&options](const std::string& name) {
            options.reflink = ReflinkOfName(name).value_or(Reflink::kNever);
          },
          "Share the blocks of the clips with the result in place of copying them, where the file "
          "system can (btrfs, XFS): where it can't, copy them (auto) or make no result (always)")
      ->check([](const std::string& name) {
        return ReflinkOfName(name) ? "" : "takes auto, always or never, not \"" + name + '"';
      })
      ->option_text("auto|always|never")
      ->default_str("never");
  AddMemoryLimit(command, options.check.memoryLimit);
  AddFitting(command, options.check.fitting);
}

void AddVerify(CLI::App& command, Verification& verification, const std::string& text) {
  command
      .add_option_function<std::string>(
          "--verify",
          [&verification](const std::string& level) {
            verification = level == "full" ? Verification::kFull : Verification::kSeams;
          },
          text)
      ->check([](const std::string& level) {
        return level == "seams" || level == "full" ? ""
                                                   : "takes seams or full, not \"" + level + '"';
      })
      ->option_text("seams|full")
      ->default_str("seams");
}

void AddFitting(CLI::App& command, Fitting& fitting) {
  CLI::Option* exact = command.add_flag(
      "--exact", fitting.exact, "Adapt nothing: clips that do not fit as they are are refused");
  CLI::Option* common =
      command.add_flag("--common-tracks", fitting.commonTracks,
                       "Go on with the tracks that all clips have, and leave the others out");
  CLI::Option* seams =
      command
          .add_option_function<std::string>(
              "--seams",
              [&fitting](const std::string& how) { fitting.seamsAsTheyAre = how == "as-they-are"; },
              "Where a clip's sound and picture do not end together: show the last sample of the "
              "shorter one longer (in-step), or join the tracks as they are (as-they-are)")
          ->check([](const std::string& how) {
            return how == "in-step" || how == "as-they-are"
                       ? ""
                       : "takes in-step or as-they-are, not \"" + how + '"';
          })
          ->option_text("in-step|as-they-are")
          ->default_str("in-step");
  CLI::Option* chapters = command.add_flag(
      "--chapters", fitting.chapters,
      "Let a chapter begin at each clip's first picture, titled with the clip's name");
  // Each of them adapts something, which --exact refuses.
  for (CLI::Option* option : {common, seams, chapters}) option->excludes(exact);
}

void AddKeepSettings(CLI::App& command, KeepOptions& options) {
  CLI::Option* originals = command.add_flag(
      "--originals", options.originals,
      "Keep what is not in the result beside it, in RESULT.originals, from which \"clipchain "
      "split\" makes the clips again, byte for byte");
  command
      .add_option_function<std::string>(
          "--hash", [&options](const std::string& hash) { options.sha256 = hash == "sha256"; },
          "The hash by which \"clipchain split\" knows that a clip is what it was: XXH128 alone "
          "(xxh128), or SHA-256 too (sha256), which takes longer")
      ->check([](const std::string& hash) {
        return hash == "xxh128" || hash == "sha256" ? ""
                                                    : "takes xxh128 or sha256, not \"" + hash + '"';
      })
      ->option_text("xxh128|sha256")
      ->default_str("xxh128")
      ->needs(originals);
  command.add_flag("--checksums", options.checksums,
                   "Write RESULT.xxh beside the result, for \"xxhsum -c\"");
}

const char* VerificationName(Verification verification) {
  return verification == Verification::kFull ? "full" : "seams";
}

void AddQuiet(CLI::App& command, bool& quiet) {
  command.add_flag("-q,--quiet", quiet, "Print nothing but warnings and what goes wrong");
}

void AddQuietAnswer(CLI::App& command, bool& quiet) {
  command.add_flag("-q,--quiet", quiet, "Print the answer alone, and no progress");
}

void AddMemoryLimit(CLI::App& command, long long& limit) {
  command
      .add_option("--memory-limit", limit,
                  "What the clips' tables may take, such as 500M; half of the machine's memory if "
                  "it is not given")
      ->transform(CLI::Validator(TakeSize, ""))
      ->check([](const std::string& size) {
        // The library takes 0 for "half of the memory", and nobody who types 0 means that.
        return size == "0" || size[0] == '-' ? "must be more than 0" : "";
      })
      ->option_text("SIZE");
}

}  // namespace clipchain
