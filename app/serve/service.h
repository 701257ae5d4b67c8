// SPDX-License-Identifier: Apache-2.0
// The switch as a service: its OpenFlow connections and its operators' console, on one event loop in one thread.
#ifndef APP_SERVE_SERVICE_H
#define APP_SERVE_SERVICE_H

#include <asio/io_context.hpp>
#include <chrono>
#include <memory>
#include <string>

#include "agent/agent.h"
#include "agent/openflow/server.h"
#include "app/commands/command.h"
#include "app/serve/console_socket.h"
#include "app/serve/drop_log.h"
#include "app/serve/live_ports.h"
#include "app/serve/wall_clock.h"

namespace app {

class Service {
 public:
  Service(Session &session, agent::Agent &agent, const agent::openflow::Identity &identity);

  agent::openflow::Server &server() { return server_; }

  // Takes operators' commands at a Unix socket, which must not be in use.
  void open_console(const std::string &path);

  ~Service();
  Service(const Service &) = delete;
  Service &operator=(const Service &) = delete;

  // Listens, or seeks a controller; the switch's time is the wall's from now on.
  agent::openflow::Endpoint add(const agent::openflow::Endpoint &endpoint);

  // Serves until SIGTERM or SIGINT.
  void run();

  // Whether the switch's time is the wall's.
  bool runs() const { return clock_.runs(); }

  // For commands that take their time: goes on serving; false when a signal asks to end before the time is over.
  bool serve_for(std::chrono::milliseconds time);

  // The same until there is something to be read; false when there is not by then.
  bool input_within(int descriptor, std::chrono::milliseconds time);

  // For the prompt: whether there is something to be read; serves for a moment while there is not.
  bool wait_for_input(int descriptor);

  // The agent learns what operators' commands did to the flows.
  void follow_commands() { agent_.reread(); }

 private:
  template <typename Work>
  void survive(Work work);
  template <typename Ends>
  void serve_until(std::chrono::steady_clock::time_point end, Ends ends);

  Session &session_;
  agent::Agent &agent_;
  asio::io_context context_;
  agent::openflow::Server server_;
  DropLog drops_;
  WallClock clock_;
  LivePorts ports_;
  std::unique_ptr<ConsoleSocket> console_;
};

// A line of the service's log, on standard error.
void log_line(std::string_view text);

}  // namespace app

#endif
