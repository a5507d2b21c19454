// How the library has commands run.
#pragma once

namespace kavonet {

// The platform's option word for the usual way: no shell, a clean environment, no output.
inline constexpr int RUN_OPTIONS = 0xBB;

} // namespace kavonet
