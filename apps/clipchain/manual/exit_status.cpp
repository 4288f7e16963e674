#include "clipchain/manual/exit_status.h"

#include "clipchain/tool.h"

namespace clipchain {

namespace {

constexpr std::string_view kNoSense = "The command line makes no sense.";

constexpr ExitStatus kStatuses[] = {
    {"", kDone, "All is done."},
    {"", kFailed,
     "It was refused or failed; what is printed says why. It is a failure, too, if not all of the "
     "output could be written; but if a pipe was closed by its reader, the program is ended by "
     "SIGPIPE, after the work that it was told to do."},
    {"", kUsage, kNoSense},
    {"", kIncomplete, "It is done but for a part that the output names."},

    {"merge", kDone,
     "The file is complete, compared with the clips, and on the disk; or all of it was written to "
     "standard output."},
    {"merge", kFailed,
     "There is no such file, or still the old one; or the file is complete, and the disk may not "
     "keep it. The error stream says which and why. What went to standard output is of no use."},
    {"merge", kUsage, kNoSense},

    {"check", kDone, "Nothing speaks against a merge."},
    {"check", kFailed, "A merge would be refused, or the check failed."},
    {"check", kUsage, kNoSense},

    {"join", kDone, "Everything was merged, or was done before."},
    {"join", kFailed,
     "Nothing was done: nothing could be, or a path that was named is not there. What is printed "
     "says why."},
    {"join", kUsage, kNoSense},
    {"join", kIncomplete,
     "A recording was left out or failed, a file could not be read, or the page could not be "
     "written; what is printed names it."},

    {"rescue", kDone, "OUT is there, even if parts were left out."},
    {"rescue", kFailed, "No sample was found, or the rescue failed; there is no OUT."},
    {"rescue", kUsage, kNoSense},

    {"sequences", kDone, "All clips were registered."},
    {"sequences", kFailed,
     "A path that was named is not there, the page can't be written, or nothing could be "
     "printed."},
    {"sequences", kUsage, kNoSense},
    {"sequences", kIncomplete,
     "Something could not be searched or registered, or salvage or division failed; the rest is "
     "there."},

    {"info", kDone, "The clips were read, whatever damage the output names."},
    {"info", kFailed,
     "No file is a readable clip; the error stream says why, or with --json the document."},
    {"info", kUsage, kNoSense},
    {"info", kIncomplete, "Some of the files are readable clips."},

    {"verify", kDone, "Everything is kept. With --clips-only, every clip."},
    {"verify", kFailed,
     "There is no answer: a card is empty, a folder is missing or can't be read, or, with "
     "--clips-only, there is no clip."},
    {"verify", kUsage, kNoSense},
    {"verify", kIncomplete, "Something is not kept; what is printed names it."},

    {"split", kDone, "All clips were made."},
    {"split", kFailed,
     "Nothing was made: the archive is missing, damaged or of another file, a name is taken, or "
     "the folder can't be written."},
    {"split", kUsage, kNoSense},
    {"split", kIncomplete,
     "The merged file is damaged; the clips that it still holds were made, and what is printed "
     "names the others."},

    {"explain", kDone, "All is done."},
    {"explain", kFailed, "There is no such message; the others were explained."},
    {"explain", kUsage, kNoSense},
};

}  // namespace

std::span<const ExitStatus> ExitStatuses() { return kStatuses; }

}  // namespace clipchain
