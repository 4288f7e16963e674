// Tells how much memory the machine has.
#pragma once

namespace clipchain {

// Tells half of it, in bytes: what the tables of clips may take where nobody says another limit.
long long HalfOfTheMachine();

}  // namespace clipchain
