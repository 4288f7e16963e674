// Takes signals as a tool has to that must not leave half a file behind.
#pragma once

namespace clipchain {

// Writing to a closed pipe or beyond the limit on the size of files is an error of the write, and
// no death.
void TakeWriteSignalsAsErrors();

// Opens standard streams that the caller has closed, onto nothing: the next file that is opened
// would become one, and get what is printed there.
void KeepStandardStreams();
// Whether standard output leads somewhere, as the caller left it.
bool HasStandardOutput();

// From here on SIGINT, SIGTERM and SIGHUP are noted and do nothing else, however often they come.
// One that is ignored already, as under nohup, stays so.
void NoteStopSignals();

// The last one noted; 0 if there was none.
int StopSignal();

// Waits until there is something to read on the standard input, or its end; false once a stop
// signal was noted, be it before the wait or in it.
bool WaitForInput();

// Ends the process by the signal that was noted, as it would have without NoteStopSignals, so that
// a shell sees what happened. Does nothing if none was.
void DieOfStopSignal();

// Ends the process by SIGPIPE. Does nothing if the signal was ignored when the tool began.
void DieOfClosedPipe();

}  // namespace clipchain
