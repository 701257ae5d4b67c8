// SPDX-License-Identifier: Apache-2.0
// A connected byte stream, plain or TLS.
#ifndef AGENT_OPENFLOW_STREAM_H
#define AGENT_OPENFLOW_STREAM_H

#include <asio/buffer.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <functional>
#include <memory>
#include <string>
#include <system_error>

namespace agent::openflow {

// Operations end by calling their handler from the event loop, exactly once; one read and one write can be under way.
class Stream {
 public:
  using Done = std::function<void(std::error_code, size_t)>;

  virtual ~Stream() = default;
  virtual void handshake(Done done) = 0;
  virtual void read(asio::mutable_buffer space, Done done) = 0;  // what is there, at least one byte
  virtual void write(asio::const_buffer bytes, Done done) = 0;   // what there is room for, at least one byte
  virtual void close() = 0;                                      // operations under way end with an error

  // How many octets of what was written have not reached the peer's side yet.
  virtual size_t underway() = 0;
};

// Files of this side's key, its certificate, and the certificate of who must have signed the peer's.
struct TlsFiles {
  std::string private_key;
  std::string certificate;
  std::string ca_cert;
};

// Makes streams of sockets. Both sides of a TLS stream prove themselves.
class StreamMaker {
 public:
  StreamMaker();
  ~StreamMaker();

  // A std::system_error or std::invalid_argument that names the file that cannot be used.
  void use(const TlsFiles &files);
  bool has_tls() const { return tls_ != nullptr; }

  enum class Side { Client, Server };
  std::unique_ptr<Stream> plain(asio::ip::tcp::socket socket) const;
  std::unique_ptr<Stream> tls(asio::ip::tcp::socket socket, Side side) const;

 private:
  struct Tls;
  std::unique_ptr<Tls> tls_;
};

}  // namespace agent::openflow

#endif
