// What the tests of PPPoE put in the place of the machine's processes, and more calls that fail on demand: fprintf, fdopen,
// mkdir, write (of one byte), KLIBCFileEnumDir, KLIBCPopen (see faults.h).
#pragma once

#include <string>
#include <vector>

namespace stand_ins {

// The number of connections (processes called pppoe-connect) that run; -1: they cannot be counted.
void run_connections(int count);

// The command lines of the relays that run.
std::vector<std::string> &relays();

// Forgets all of them.
void clear();

} // namespace stand_ins
