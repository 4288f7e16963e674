#include "workflow/finding.h"

#include <algorithm>
#include <utility>

namespace clipchain {

namespace {

struct MessageKind {
  std::string_view name;
  Severity severity;
};

constexpr MessageKind kKinds[] = {
#define CLIPCHAIN_MESSAGE(id, name, severity) {name, severity},
#include "workflow/messages.inc"
#undef CLIPCHAIN_MESSAGE
};

const MessageKind& KindOf(Message message) { return kKinds[static_cast<std::size_t>(message)]; }

}  // namespace

std::string_view SeverityName(Severity severity) {
  constexpr std::string_view kNames[] = {"note", "warning", "problem", "error"};
  return kNames[static_cast<std::size_t>(severity)];
}

std::string_view MessageName(Message message) { return KindOf(message).name; }
Severity MessageSeverity(Message message) { return KindOf(message).severity; }

Finding MakeFinding(Message message, std::string path, std::string text, std::string remedy) {
  Finding finding{};
  finding.message = message;
  finding.severity = MessageSeverity(message);
  finding.path = std::move(path);
  finding.text = std::move(text);
  finding.remedy = std::move(remedy);
  return finding;
}

bool HoldsUp(const Findings& findings, bool force) {
  // A problem may pass where somebody insists; what is refused can't be done at all.
  const Severity least = force ? Severity::kRefusal : Severity::kRisk;
  return std::any_of(findings.begin(), findings.end(),
                     [least](const Finding& finding) { return finding.severity >= least; });
}

}  // namespace clipchain
