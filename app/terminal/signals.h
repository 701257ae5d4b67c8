// SPDX-License-Identifier: Apache-2.0
// Signals: Ctrl-C ends a command, never the switch; SIGTERM and SIGHUP end the program in order.
#ifndef APP_TERMINAL_SIGNALS_H
#define APP_TERMINAL_SIGNALS_H

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>

#include "app/commands/command_error.h"

namespace app {

// Takes over SIGINT, SIGTERM, SIGHUP, SIGPIPE and SIGCHLD, and SIGWINCH and SIGCONT for the terminal. System calls that
// wait end with EINTR.
void catch_signals();

// Whether the running command shall end: Ctrl-C was pressed since forget_interrupt, more than so many times, or the
// program shall end.
bool interrupted(int more_than = 0);
void forget_interrupt();

// Another way to interrupt than Ctrl-C here: while it lives, `asks` is asked now and then by interrupted().
class InterruptSource {
 public:
  explicit InterruptSource(std::function<bool()> asks);
  ~InterruptSource();
  InterruptSource(const InterruptSource &) = delete;
  InterruptSource &operator=(const InterruptSource &) = delete;
};

// The signal that asks the program to end, 0 if none did.
int termination();

// Whether the terminal's size or modes may have changed since the last call.
bool take_terminal_change();

// A command that ended before its work was done, on request.
class Interrupted : public CommandError {
 public:
  // `done` tells what was applied, and stays: "1200 of 4000 flows were added".
  explicit Interrupted(const std::string &done) : CommandError("interrupted: " + done) {}
};

// Lets time pass; false when a signal asks to end before that.
bool wait(std::chrono::milliseconds time);

// Waits until `descriptor` can be read (POLLIN) or written (POLLOUT). False when a signal asks to end before that; so
// many interrupts have been seen to already.
bool wait_for(int descriptor, short events, int interrupts_before = 0);

// Waits for a program that was started, and ends it when a signal asks to end before that; its status, as of waitpid.
int wait_for_program(pid_t program);

// Waits until `descriptor` can be read. False when a signal came before that.
bool wait_for_input(int descriptor);

// The same, at most so long, whatever happens to the terminal.
bool input_within(int descriptor, std::chrono::milliseconds time);

}  // namespace app

#endif
