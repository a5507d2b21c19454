// How long a call waits for the service manager at most.
#pragma once

namespace kavo {

inline constexpr int CONNECT_SECONDS = 10; // for the bus
inline constexpr int CALL_SECONDS = 25;    // for an answer
inline constexpr int JOB_SECONDS = 100;    // for the end of a job

} // namespace kavo
