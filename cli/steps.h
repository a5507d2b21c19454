// Which step of a change is being done: what a long line of progress says.
#pragma once

#include <string>

namespace cli {

// What the command that the library runs right now on behalf of the main thread does, in words; empty when it runs none
// that has a name. To be called by another thread.
std::string running_step();

} // namespace cli
