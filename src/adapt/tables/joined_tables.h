// Brings sample tables of clips into one form, and joins those that the engine does not.
#pragma once

#include <memory>

#include "adapt/clips/adaptation.h"

namespace clipchain {

// Makes tables that the engine can append to each other: sizes spelled out where the clips say them
// in different forms, and tables that some of the clips lack because they would say nothing. Joins
// sample groups, partial sync samples, subsamples and bounds of composition times in the result;
// leaves out of it, and tells, what says something of each sample of one clip and can't be joined.
// Refuses samples whose protection is said in tables of their own.
std::unique_ptr<Adaptation> MakeJoinedTables();

}  // namespace clipchain
