// SPDX-License-Identifier: Apache-2.0
#include "app/serve/console_socket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <asio/buffer.hpp>
#include <asio/write.hpp>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <utility>

#include "agent/text.h"
#include "app/serve/console_protocol.h"
#include "app/serve/line_runner.h"
#include "app/serve/service.h"
#include "app/terminal/signals.h"

namespace app {
namespace {

using Socket = asio::local::stream_protocol::socket;
using asio::local::stream_protocol;

// One operator: runs a line after the other, each when the output of the one before has gone.
class Console : public std::enable_shared_from_this<Console> {
 public:
  Console(Socket socket, Session &session) : socket_(std::move(socket)), runner_(session) {}

  void read() {
    socket_.async_read_some(asio::buffer(space_), [self = shared_from_this()](std::error_code problem, size_t count) {
      if (!problem) {
        self->received_.append(self->space_.data(), count);
        self->work();
      }
    });
  }

 private:
  // An operator waits for the answer: who says something before it wants to interrupt.
  bool says_something() {
    char byte = 0;
    return !received_.empty() || recv(socket_.native_handle(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
  }

  void work() try {
    const InterruptSource source([this] { return says_something(); });
    while (auto frame = take_frame(received_)) {
      if (const std::string answer = runner_.take(*frame); !answer.empty()) {
        write(answer);
        return;
      }
    }
    read();
  } catch (const std::exception &error) {
    says_nonsense_ = true;
    write(encode(ConsoleFrame::Kind::Error, error.what()) + encode(ConsoleFrame::Kind::Finished));
  }

  void write(const std::string &answer) {
    sending_ = answer;
    asio::async_write(socket_, asio::buffer(sending_), [self = shared_from_this()](std::error_code problem, size_t) {
      if (!problem && !self->says_nonsense_) {
        self->work();
      }
    });
  }

  Socket socket_;
  LineRunner runner_;
  std::array<char, 4096> space_;
  std::string received_;
  std::string sending_;
  bool says_nonsense_ = false;  // whoever it is, and is heard no more
};

// A socket that nobody listens at any more is removed.
void make_way(asio::io_context &context, const std::string &path) {
  if (!std::filesystem::is_socket(path)) {
    return;
  }
  std::error_code problem;
  Socket(context).connect(stream_protocol::endpoint(path), problem);
  if (!problem) {
    throw std::runtime_error(agent::concat(path, ": a switch takes commands here already"));
  }
  std::filesystem::remove(path);
}

stream_protocol::acceptor open_private(asio::io_context &context, const std::string &path) try {
  make_way(context, path);
  const mode_t before = umask(S_IRWXG | S_IRWXO | S_IXUSR);
  std::error_code problem;
  stream_protocol::acceptor acceptor(context);
  acceptor.open();
  acceptor.bind(stream_protocol::endpoint(path), problem);
  umask(before);
  asio::detail::throw_error(problem);
  acceptor.listen();
  return acceptor;
} catch (const std::system_error &error) {
  throw std::system_error(error.code(), path);
}

}  // namespace

ConsoleSocket::ConsoleSocket(asio::io_context &context, std::string path, Session &session)
    : path_(std::move(path)),
      incoming_(std::make_shared<Incoming>(
          open_private(context, path_),
          [&session](Socket socket) { std::make_shared<Console>(std::move(socket), session)->read(); },
          [this](std::string_view problem) { log_line(agent::concat(path_, ": ", problem)); })) {
  incoming_->start();
}

ConsoleSocket::~ConsoleSocket() {
  incoming_->stop();
  std::error_code ignored;
  std::filesystem::remove(path_, ignored);
}

}  // namespace app
