// SPDX-License-Identifier: Apache-2.0
// Operators' commands over a Unix socket, which only the user that runs the switch can open.
#ifndef APP_SERVE_CONSOLE_SOCKET_H
#define APP_SERVE_CONSOLE_SOCKET_H

#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <memory>
#include <string>

#include "agent/openflow/accept_loop.h"
#include "app/commands/command.h"

namespace app {

class ConsoleSocket {
 public:
  // A std::runtime_error when a switch takes commands at `path` already, or where there can be no socket.
  ConsoleSocket(asio::io_context &context, std::string path, Session &session);
  ~ConsoleSocket();
  ConsoleSocket(const ConsoleSocket &) = delete;
  ConsoleSocket &operator=(const ConsoleSocket &) = delete;

 private:
  using Incoming = agent::openflow::AcceptLoop<asio::local::stream_protocol>;

  std::string path_;
  std::shared_ptr<Incoming> incoming_;
};

}  // namespace app

#endif
