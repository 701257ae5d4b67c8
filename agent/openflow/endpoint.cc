// SPDX-License-Identifier: Apache-2.0
#include "agent/openflow/endpoint.h"

#include <asio/ip/address.hpp>
#include <optional>

namespace agent::openflow {
namespace {

struct Scheme {
  std::string_view name;
  bool tls;
  bool listens;
};

constexpr Scheme kSchemes[] = {
    {"tcp", false, false}, {"ssl", true, false}, {"ptcp", false, true}, {"pssl", true, true}};

const Scheme &scheme_named(const Word &name) {
  for (const Scheme &scheme : kSchemes) {
    if (scheme.name == name.text) {
      return scheme;
    }
  }
  throw TextError(name.column, concat(quoted(name), " is none of tcp:, ssl:, ptcp: and pssl:"));
}

uint16_t port_numbered(const Word &word) {
  return static_cast<uint16_t>(number_in(word, 0, UINT16_MAX, "a TCP port"));
}

std::string address_named(const Word &word) {
  const bool bracketed = word.text.starts_with('[') && word.text.ends_with(']');
  const std::string text(bracketed ? word.text.substr(1, word.text.size() - 2) : word.text);
  std::error_code problem;
  const asio::ip::address address = asio::ip::make_address(text, problem);
  if (problem) {
    throw TextError(word.column, concat(quoted(word), " is no IP address"));
  }
  return address.to_string();
}

// Splits at the first ':' outside of brackets.
SplitWord split_address(const Word &word) {
  const size_t bracket = word.text.starts_with('[') ? word.text.find(']') : 0;
  const size_t colon = bracket == std::string_view::npos ? bracket : word.text.find(':', bracket);
  if (colon == std::string_view::npos) {
    return {word, {}};
  }
  return {{word.text.substr(0, colon), word.column}, Word{word.text.substr(colon + 1), word.column + colon + 1}};
}

}  // namespace

Endpoint endpoint_named(const Word &text) {
  const SplitWord split = split_at(text, ':');
  const Scheme &scheme = scheme_named(split.before);
  if (!split.behind) {
    throw TextError(text.column, concat(quoted(text), scheme.listens ? " lacks a port" : " lacks an address"));
  }
  Endpoint endpoint{"0.0.0.0", kDefaultPort, scheme.tls, scheme.listens};
  const auto [address, port] = [&]() -> std::pair<std::optional<Word>, std::optional<Word>> {
    if (!scheme.listens) {
      const SplitWord parts = split_address(*split.behind);
      return {parts.before, parts.behind};
    }
    const SplitWord parts = split_at(*split.behind, ':');
    return {parts.behind, parts.before};
  }();
  if (address) {
    endpoint.address = address_named(*address);
  }
  if (port) {
    endpoint.port = port_numbered(*port);
  }
  return endpoint;
}

std::string to_text(const Endpoint &endpoint) {
  const bool brackets = endpoint.address.find(':') != std::string::npos;
  const std::string address = brackets ? concat("[", endpoint.address, "]") : endpoint.address;
  const std::string_view scheme = endpoint.tls ? "ssl" : "tcp";
  if (endpoint.listens) {
    return concat("p", scheme, ":", endpoint.port, ":", address);
  }
  return concat(scheme, ":", address, ":", endpoint.port);
}

}  // namespace agent::openflow
