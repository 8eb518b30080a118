// The process's only asynchronous code: a handler for SIGINT and SIGTERM that sets one flag.
#pragma once

namespace vorbeld {

// From now on SIGINT and SIGTERM only ask for an orderly stop.
void catch_stop_signals();

// True once one of them came.
bool stop_requested();

}  // namespace vorbeld
