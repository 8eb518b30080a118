// Standard input, output and error, as a program finds them at its start.
#pragma once

namespace vorbeld {

// Opens each of the descriptors 0 to 2 that is closed on the null device, so that no socket or file opened later gets
// its number, and with it what is meant for the console. Reading or writing there goes on failing, as it does on a
// closed descriptor. To be called before anything else is opened.
void keep_standard_descriptors();

// From now on a write to a pipe or socket without a reader, or beyond the size that a file may have, only fails and no
// longer ends the process.
void fail_writes_without_signals();

}  // namespace vorbeld
