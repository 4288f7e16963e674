// clipchain info FILE: tells what one clip says about itself.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

#include "clipchain/commands.h"
#include "clipchain/output/info_output.h"
#include "clipchain/terminal/standard_output.h"
#include "clipchain/tool.h"
#include "workflow/findings/result_words.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

struct InfoOptions {
  std::string path;
  bool tree = false;
  bool json = false;
};

int Run(const InfoOptions& options) {
  std::string why = WhyUnreadable(options.path);
  ClipInfo info;
  if (why.empty()) {
    const HRESULT result = ReadClipInfo(options.path, info);
    if (result != S_OK) why = fmt::format("{} ({})", ClipWords(result), ResultName(result));
  } else {
    why = "can't be read: " + why;
  }
  if (!why.empty()) {
    std::fputs(fmt::format("clipchain: {} {}\n", Shown(options.path), why).c_str(), stderr);
    return kFailed;
  }
  const auto print = options.json ? InfoJson : InfoText;
  Print(print(options.path, info, options.tree));
  return kDone;
}

}  // namespace

void AddInfoCommand(CLI::App& tool, int& exitCode) {
  const auto options = std::make_shared<InfoOptions>();
  CLI::App* command = tool.add_subcommand("info", "Tell what a clip says about itself");
  command->add_option("FILE", options->path, "The clip")->required()->type_name("FILE");
  command->add_flag("--tree", options->tree, "List the boxes with their positions and sizes");
  command->add_flag("--json", options->json, "Print for programs");
  command->callback([options, &exitCode] { exitCode = Run(*options); });
}

}  // namespace clipchain
