#include "app/serve/service.h"

#include <asio/posix/stream_descriptor.hpp>
#include <asio/signal_set.hpp>
#include <csignal>
#include <ctime>
#include <iostream>

namespace app {

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
      clock_(context_, [this](agent::Time passed) { agent_.advance(passed); }) {}

agent::openflow::Endpoint Service::add(const agent::openflow::Endpoint &endpoint) {
  clock_.start();
  return server_.add(endpoint);
}

void Service::open_console(const std::string &path) {
  console_ = std::make_unique<ConsoleSocket>(context_, path, session_);
}

void Service::run() {
  clock_.start();
  asio::signal_set signals(context_, SIGTERM, SIGINT);
  signals.async_wait([this](std::error_code problem, int) {
    if (!problem) {
      context_.stop();
    }
  });
  context_.run();
  log_line("ends");
}

void Service::wait_for_input(int descriptor) {
  asio::posix::stream_descriptor input(context_, descriptor);
  bool ready = false;
  input.async_wait(asio::posix::stream_descriptor::wait_read, [&ready](std::error_code) { ready = true; });
  context_.restart();
  while (!ready && context_.run_one() != 0) {
  }
  input.release();
}

}  // namespace app
