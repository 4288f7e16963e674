// Leads from a page to files.
#pragma once

#include <string>

namespace clipchain {

class Links {
 public:
  // Leads from a page in that folder; empty: no link leads anywhere.
  explicit Links(const std::string& folder);

  // Spells the address of the file, relative to the page, so that it holds where both are moved
  // together; empty where there is none. Safe in a quoted attribute, whatever the bytes of the
  // path.
  std::string To(const std::string& path) const;
  // Makes `html` a link to the file; `html` alone where there is none.
  std::string Around(const std::string& path, const std::string& html) const;

 private:
  std::string folder_;
};

}  // namespace clipchain
