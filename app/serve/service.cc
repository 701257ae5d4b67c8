// SPDX-License-Identifier: Apache-2.0
#include "app/serve/service.h"

#include <fcntl.h>

#include <asio/posix/stream_descriptor.hpp>
#include <asio/signal_set.hpp>

#include <csignal>
#include <ctime>
#include <iostream>

#include "agent/text.h"
#include "app/terminal/signals.h"

namespace app {
namespace {

constexpr auto kMoment = std::chrono::milliseconds(100);  // until a change of the terminal is noticed

// Whether a descriptor can be read, as the event loop sees it.
class Watch {
 public:
  Watch(asio::io_context &context, int descriptor) : input_(context, descriptor) {
    const int modes = fcntl(descriptor, F_GETFL);
    input_.async_wait(asio::posix::stream_descriptor::wait_read,
                      [readable = readable_](std::error_code) { *readable = true; });
    fcntl(descriptor, F_SETFL, modes);  // the wait makes it non-blocking, for all programs that share it
  }
  ~Watch() { input_.release(); }
  Watch(const Watch &) = delete;
  Watch &operator=(const Watch &) = delete;

  bool is_readable() const { return *readable_; }

 private:
  asio::posix::stream_descriptor input_;
  std::shared_ptr<bool> readable_ = std::make_shared<bool>(false);
};

}  // namespace

void log_line(std::string_view text) {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&now, &parts);
  char stamp[sizeof "2026-01-01T00:00:00Z"];
  std::strftime(stamp, sizeof stamp, "%FT%TZ", &parts);
  std::cerr << stamp << ' ' << text << '\n' << std::flush;
}

Service::Service(Session &session, agent::Agent &agent, const agent::openflow::Identity &identity)
    : session_(session),
      agent_(agent),
      server_(context_, agent, identity, log_line),
      clock_(context_,
             [this] {
               agent_.advance({});
               drops_.look(agent_.ports(), agent_.now());
             }),
      ports_(context_, session.device.ports(), agent_.packets()) {
  session.service = this;
  agent_.follow([this] { return clock_.passed(); });
}

Service::~Service() {
  session_.service = nullptr;
  agent_.follow({});
}

agent::openflow::Endpoint Service::add(const agent::openflow::Endpoint &endpoint) {
  follow_commands();
  clock_.start();
  return server_.add(endpoint);
}

void Service::open_console(const std::string &path) {
  console_ = std::make_unique<ConsoleSocket>(context_, path, session_);
}

// What nobody else has caught ends what was being done, and not the switch.
template <typename Work>
void Service::survive(Work work) try {
  work();
} catch (const std::exception &error) {
  log_line(agent::concat("error: ", error.what()));
}

void Service::run() {
  clock_.start();
  asio::signal_set signals(context_, SIGTERM, SIGINT);
  signals.async_wait([this](std::error_code problem, int) {
    if (!problem) {
      context_.stop();
    }
  });
  while (!context_.stopped()) {
    survive([this] { context_.run(); });
  }
  log_line("ends");
}

// The clock's ticks end each wait for an event, so that signals are noticed.
template <typename Ends>
void Service::serve_until(std::chrono::steady_clock::time_point end, Ends ends) {
  context_.restart();
  while (!ends() && !interrupted() && std::chrono::steady_clock::now() < end) {
    survive([&] { context_.run_one_until(end); });
  }
}

bool Service::serve_for(std::chrono::milliseconds time) {
  serve_until(std::chrono::steady_clock::now() + time, [] { return false; });
  return !interrupted();
}

bool Service::input_within(int descriptor, std::chrono::milliseconds time) {
  const Watch input(context_, descriptor);
  serve_until(std::chrono::steady_clock::now() + time, [&] { return input.is_readable(); });
  return input.is_readable();
}

bool Service::wait_for_input(int descriptor) {
  return clock_.runs() ? input_within(descriptor, kMoment) : app::wait_for_input(descriptor);
}

}  // namespace app
