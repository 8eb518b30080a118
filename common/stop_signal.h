// The wish for an orderly stop, as SIGINT and SIGTERM bring it. Holds the one flag that a signal handler writes.
#pragma once

namespace vorbeld {

// From now on SIGINT and SIGTERM only ask for an orderly stop.
void catch_stop_signals();

// True once one of them came.
bool stop_requested();

}  // namespace vorbeld
