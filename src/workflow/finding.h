// Says one thing about clips: what is wrong, or what a person would regret.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "foundation/export.h"
#include "foundation/result.h"

namespace clipchain {

enum class Severity {
  // Worth knowing; nothing is wrong.
  kNote,
  // The result may not be what was meant; nothing is held up.
  kWarning,
  // The result would be damaged: held up, unless the user insists.
  kRisk,
  // Cannot be done, or would put an input at risk: held up always.
  kRefusal
};

// "note", "warning", "problem" for a risk, "error" for a refusal.
CLIPCHAIN_API std::string_view SeverityName(Severity severity);

// Every kind of finding, each with its name. docs/messages.md says cause and remedy of each.
enum class Message {
#define CLIPCHAIN_MESSAGE(id, name, severity) id,
#include "workflow/messages.inc"
#undef CLIPCHAIN_MESSAGE
};

// The name by which programs and docs/messages.md know the message: "media-cut-off".
CLIPCHAIN_API std::string_view MessageName(Message message);
CLIPCHAIN_API Severity MessageSeverity(Message message);

struct Finding {
  Message message;
  // The message's own, unless the circumstances change it.
  Severity severity;
  // The file that it is about, bytes as named; empty if about no one file.
  std::string path;
  // Identifier of the track; 0 if about no one track.
  unsigned int track = 0;
  // Where in the file: "moov/trak[1]/mdia/minf/stbl/stsz"; may be empty.
  std::string box;
  // Of that box or byte in the file; -1 if it has none.
  long long offset = -1;
  // What is wrong with the values on both sides, the rest of a sentence that begins with the path.
  std::string text;
  // What to do; may be empty.
  std::string remedy;
  // The engine's code, where there is one.
  HRESULT result = S_OK;
};

using Findings = std::vector<Finding>;

// A finding of the message's own severity.
CLIPCHAIN_API Finding MakeFinding(Message message, std::string path, std::string text,
                                  std::string remedy = "");

// Whether anything among them holds the work up.
CLIPCHAIN_API bool HoldsUp(const Findings& findings, bool force);

}  // namespace clipchain
