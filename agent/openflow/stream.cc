// SPDX-License-Identifier: Apache-2.0
#include "agent/openflow/stream.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>

#include <asio/ssl.hpp>
#include <utility>

#include "agent/text.h"

namespace agent::openflow {

struct StreamMaker::Tls {
  asio::ssl::context context{asio::ssl::context::tls};
};

namespace {

using Socket = asio::ip::tcp::socket;

// Room for a table of flow-mods, which then go to the hardware together.
constexpr int kReceiveBuffer = 1024 * 1024;

template <typename Sender>
class StreamOver : public Stream {
 public:
  template <typename... Arguments>
  explicit StreamOver(Socket socket, Arguments &&...arguments)
      : stream_(std::move(socket), std::forward<Arguments>(arguments)...) {
    std::error_code ignored;
    stream_.lowest_layer().set_option(asio::ip::tcp::no_delay(true), ignored);
    stream_.lowest_layer().set_option(asio::socket_base::receive_buffer_size(kReceiveBuffer), ignored);
  }

  void read(asio::mutable_buffer space, Done done) override { stream_.async_read_some(space, std::move(done)); }
  void write(asio::const_buffer bytes, Done done) override { stream_.async_write_some(bytes, std::move(done)); }
  void close() override {
    std::error_code ignored;
    stream_.lowest_layer().close(ignored);
  }
  size_t underway() override {
    int octets = 0;
    const bool told = ioctl(stream_.lowest_layer().native_handle(), SIOCOUTQ, &octets) == 0;
    return told ? static_cast<size_t>(octets) : 0;
  }

 protected:
  Sender stream_;
};

class PlainStream : public StreamOver<Socket> {
 public:
  using StreamOver::StreamOver;
  void handshake(Done done) override {
    asio::post(stream_.get_executor(), [done = std::move(done)] { done({}, 0); });
  }
};

class TlsStream : public StreamOver<asio::ssl::stream<Socket>> {
 public:
  TlsStream(Socket socket, asio::ssl::context &context, asio::ssl::stream_base::handshake_type side)
      : StreamOver(std::move(socket), context), side_(side) {}
  void handshake(Done done) override {
    stream_.async_handshake(side_, [done = std::move(done)](std::error_code problem) { done(problem, 0); });
  }

 private:
  asio::ssl::stream_base::handshake_type side_;
};

void require(std::error_code problem, const std::string &file) {
  if (problem) {
    throw std::system_error(problem, file);
  }
}

}  // namespace

StreamMaker::StreamMaker() = default;
StreamMaker::~StreamMaker() = default;

void StreamMaker::use(const TlsFiles &files) {
  auto tls = std::make_unique<Tls>();
  asio::ssl::context &context = tls->context;
  std::error_code problem;
  context.set_options(asio::ssl::context::default_workarounds | asio::ssl::context::no_sslv2 |
                      asio::ssl::context::no_sslv3 | asio::ssl::context::no_tlsv1 | asio::ssl::context::no_tlsv1_1);
  context.use_certificate_chain_file(files.certificate, problem);
  require(problem, files.certificate);
  context.use_private_key_file(files.private_key, asio::ssl::context::pem, problem);
  require(problem, files.private_key);
  context.load_verify_file(files.ca_cert, problem);
  require(problem, files.ca_cert);
  context.set_verify_mode(asio::ssl::verify_peer | asio::ssl::verify_fail_if_no_peer_cert);
  tls_ = std::move(tls);
}

std::unique_ptr<Stream> StreamMaker::plain(Socket socket) const {
  return std::make_unique<PlainStream>(std::move(socket));
}

std::unique_ptr<Stream> StreamMaker::tls(Socket socket, Side side) const {
  const auto type = side == Side::Client ? asio::ssl::stream_base::client : asio::ssl::stream_base::server;
  return std::make_unique<TlsStream>(std::move(socket), tls_->context, type);
}

}  // namespace agent::openflow
