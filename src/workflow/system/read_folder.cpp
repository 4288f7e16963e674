#include "workflow/system/read_folder.h"

#include <dirent.h>

#include <cstring>

#include "workflow/system/system_error.h"
#include "workflow/system/uninterrupted.h"

namespace clipchain {

std::error_code ReadFolder(int folder,
                           const std::function<bool(const FolderEntry& entry)>& listener) {
  alignas(dirent64) char entries[32 * 1024];
  for (;;) {
    const ssize_t got =
        Uninterrupted([&] { return ::getdents64(folder, entries, sizeof(entries)); });
    if (got < 0) return LastError();
    if (got == 0) return {};
    for (ssize_t at = 0; at < got;) {
      const auto* entry = reinterpret_cast<const dirent64*>(entries + at);
      at += entry->d_reclen;
      if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) continue;
      if (!listener({entry->d_name, entry->d_type})) return {};
    }
  }
}

}  // namespace clipchain
