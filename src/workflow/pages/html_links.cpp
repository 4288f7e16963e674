#include "workflow/pages/html_links.h"

#include <fmt/format.h>

#include <filesystem>
#include <string_view>
#include <system_error>

namespace clipchain {

namespace {

namespace fs = std::filesystem;

bool IsPlain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("-._~/").find(c) != std::string_view::npos;
}

// As RFC 3986, clause 2.1, has it; bytes stay the bytes that they are.
std::string Encoded(const std::string& path) {
  std::string text;
  for (const char c : path) {
    if (IsPlain(c))
      text += c;
    else
      text += fmt::format("%{:02X}", static_cast<unsigned char>(c));
  }
  return text;
}

// Without a look at links between folders: who opens an address takes ".." off its text, too.
fs::path Absolute(const std::string& path) {
  std::error_code error;
  const fs::path absolute = fs::absolute(path, error);
  return error ? fs::path() : absolute.lexically_normal();
}

}  // namespace

Links::Links(const std::string& folder)
    : folder_(folder.empty() ? "" : Absolute(folder).string()) {}

std::string Links::To(const std::string& path) const {
  if (folder_.empty() || path.empty()) return "";
  const fs::path absolute = Absolute(path);
  // A folder that ends in a slash has an empty last part.
  fs::path folder = folder_;
  if (!folder.has_filename()) folder = folder.parent_path();
  return absolute.empty() ? "" : Encoded(absolute.lexically_relative(folder).string());
}

std::string Links::Around(const std::string& path, const std::string& html) const {
  const std::string address = To(path);
  return address.empty() ? html : fmt::format("<a href=\"{}\">{}</a>", address, html);
}

}  // namespace clipchain
