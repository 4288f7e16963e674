#include "clipchain/manual/help_text.h"

#include <iterator>

namespace clipchain {

const Example kExamples[] = {
    {"merge", "clipchain merge -o whole.mp4 clip1.mp4 clip2.mp4 clip3.mp4",
     "Puts three clips together, in that order."},
    {"merge", "clipchain merge --verify=full -o /nas/whole.mp4 clip*.mp4",
     "Compares every byte, read back from the disk."},
    {"merge", "clipchain merge -o - clip*.mp4 | ssh nas 'cat > whole.mp4'",
     "Sends the result away while it is put together."},
    {"merge", "clipchain merge --job jobs.json 7",
     "Merges the seventh recording of a plan that join wrote."},
    {"check", "clipchain check clip1.mp4 clip2.mp4 clip3.mp4",
     "Says whether they can be merged in that order, and what would be lost."},
    {"check", "clipchain check --json clip*.mp4", "The same for programs."},
    {"join", "clipchain join /media/card -o ~/Videos",
     "Merges every complete recording of a card into a file of its own."},
    {"join", "clipchain join /media/card1 /media/card2 -o ~/Videos --dry-run",
     "Shows what that would do with two cards, and does nothing."},
    {"join", "clipchain join /media/card -o ~/Videos --accept likely",
     "Also joins clips without identifiers that likely belong together."},
    {"join", "clipchain join /media/card -o /data --plan jobs.json",
     "Writes the jobs to a file, for a batch system to run."},
    {"rescue", "clipchain rescue clip3.mp4 -o clip3-rescued.mp4",
     "Finds the samples of a clip without a movie box, by what others teach."},
    {"rescue", "clipchain rescue clip3.mp4 --like clip2.mp4 -o clip3-rescued.mp4",
     "Learns from that clip alone."},
    {"sequences", "clipchain sequences /media/card1 /media/card2",
     "Tells which clips of two cards form one recording."},
    {"sequences", "clipchain sequences --html cards.html /media/card1 /media/card2",
     "Also writes a page with a time line and thumbnails."},
    {"sequences", "clipchain sequences --json /media/card | jq '.sequences[].seconds'",
     "The length of every recording."},
    {"info", "clipchain info clip1.mp4",
     "Tells tracks, durations, date and identifiers of a clip."},
    {"info", "clipchain info --tree clip1.mp4", "Lists its boxes, too."},
    {"verify", "clipchain verify /media/card --against ~/Videos",
     "Says whether the card can be erased."},
    {"verify", "clipchain verify /media/card1 /media/card2 --against ~/Videos /nas --whole",
     "Takes nothing but every byte of every clip."},
    {"split", "clipchain split whole.mp4", "Makes the clips again, in the folder whole."},
    {"explain", "clipchain explain track-drift", "Tells what a warning of that name means."},
};
const unsigned int kExampleCount = std::size(kExamples);

}  // namespace clipchain
