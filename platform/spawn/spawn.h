// Running a command: without a copy of the caller's memory, and whatever the caller does with SIGCHLD and its children.
//
// A command's end is told to its parent by SIGCHLD, whatever was asked for when it was made: a parent that ignores that
// signal, or reaps every child it has, would lose the result. So the caller is not the parent. Between the two stands a
// waiter: a process that shares the caller's memory, runs no program of its own and therefore ends without a signal and
// unseen by waitpid(-1). It starts the command, waits for it and leaves the result in memory.
#pragma once

namespace kavo {

// The name that a waiter has in the process table; its command line is the caller's.
inline constexpr char WAITER_NAME[] = "kavo-wait";

// What is to be run, and how: standard input and error are /dev/null, no other descriptor is open, signals are as at
// the start of the system.
struct Command {
    const char *program;            // a path; there is no search
    const char *const *arguments;   // with a null at the end; the first is the program's own name
    const char *const *environment; // with a null at the end
    int output = -1;                // becomes the standard output; -1: /dev/null
    int seconds = 0;                // the command is killed after so many; 0: no limit
};

// How a command ended.
struct CommandEnd {
    int result; // the exit status, 128 + n when signal n ended it, -1 when it was not run or its end is not known
    bool late;  // it was killed because its time was over
};

struct RunningCommand;

// Starts a command. Null with errno when it could not be run.
RunningCommand *start_command(const Command &command);

// Waits for the command's end and forgets it.
CommandEnd finish_command(RunningCommand *running);

} // namespace kavo
