// SPDX-License-Identifier: Apache-2.0
#include "app/serve/service.h"

#include <unistd.h>

#include <asio/signal_set.hpp>

#include <csignal>
#include <ctime>
#include <iostream>
#include <utility>

#include "agent/text.h"
#include "app/terminal/signals.h"

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
      clock_(context_,
             [this] {
               agent_.advance({});
               drops_.look(agent_.ports(), agent_.now());
             }),
      ports_(context_, session.device.ports(), agent_.packets()),
      input_(context_) {
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

// The clock's ticks end each moment, so that signals are noticed.
bool Service::wait_for_input(int descriptor) {
  if (!clock_.runs()) {
    return app::wait_for_input(descriptor);
  }
  if (!watches_input_) {
    follow_commands();
    watch(descriptor);
  }
  context_.restart();
  survive([this] { context_.run_one(); });
  return std::exchange(has_input_, false);
}

bool Service::serve_for(std::chrono::milliseconds time) {
  const auto end = std::chrono::steady_clock::now() + time;
  context_.restart();
  while (!interrupted() && std::chrono::steady_clock::now() < end) {
    survive([&] { context_.run_one_until(end); });
  }
  return !interrupted();
}

void Service::watch(int descriptor) {
  if (!input_.is_open()) {
    input_.assign(dup(descriptor));
  }
  watches_input_ = true;
  input_.async_wait(asio::posix::stream_descriptor::wait_read, [this](std::error_code) {
    watches_input_ = false;
    has_input_ = true;
  });
}

}  // namespace app
