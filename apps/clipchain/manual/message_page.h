// Finds what docs/messages.md says about a message, for a person who has met its name.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace clipchain {

// Tells what the message says, its cause and its remedy, from the row of its name in a page of that
// form, with a section that the row leads to. Nothing where the page has no such row.
std::optional<std::string> MessageText(std::string_view page, std::string_view name);

// The whole page, as it was when the tool was built.
std::string_view MessagePage();

}  // namespace clipchain
