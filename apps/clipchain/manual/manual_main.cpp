// Writes the manual pages and the completions of shells while the tool is built.
//
//   clipchain_manual TARGET WRITTEN
//
// TARGET: the folder they go to. WRITTEN: the folder with the parts of the pages that are written
// by hand.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>

#include "clipchain/commands.h"
#include "clipchain/manual/completion.h"
#include "clipchain/manual/man_page.h"
#include "clipchain/manual/markdown_page.h"

namespace {

namespace fs = std::filesystem;

std::string Read(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("there is no " + path.string());
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void Write(const fs::path& path, const std::string& text) {
  fs::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file) throw std::runtime_error("can't write " + path.string());
}

void WritePage(const CLI::App& command, const fs::path& target, const fs::path& written) {
  const std::string page = clipchain::ManPageName(command) + ".1";
  Write(target / "man1" / page, clipchain::ManPage(command, Read(written / (page + ".in"))));
}

void WriteAll(const fs::path& target, const fs::path& written) {
  int exitCode = 0;
  CLI::App tool(clipchain::kToolText, "clipchain");
  clipchain::AddCommands(tool, exitCode);
  WritePage(tool, target, written);
  // What stands in docs/ for programs and for those who run many.
  for (const auto& [page, section] : {std::pair("json", 5), {"fleet", 7}, {"messages", 7}}) {
    const std::string name = std::string("clipchain-") + page;
    const std::string text = Read(written / ".." / (std::string(page) + ".md"));
    Write(target / fmt::format("man{}", section) / fmt::format("{}.{}", name, section),
          clipchain::MarkdownPage(text, name, section));
  }
  for (const CLI::App* command : tool.get_subcommands([](const CLI::App*) { return true; })) {
    WritePage(*command, target, written);
  }
  Write(target / "clipchain.bash", clipchain::BashCompletion(tool));
  Write(target / "_clipchain", clipchain::ZshCompletion(tool));
  Write(target / "clipchain.fish", clipchain::FishCompletion(tool));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("usage: clipchain_manual TARGET WRITTEN\n", stderr);
    return 2;
  }
  try {
    WriteAll(argv[1], argv[2]);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "clipchain_manual: %s\n", error.what());
    return 1;
  }
}
