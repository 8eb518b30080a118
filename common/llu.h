// What printf's %llu takes.
#pragma once

namespace vorbeld {

using Llu = unsigned long long;

}  // namespace vorbeld
