// Where a server listens, as text and in parts.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ipc {

// Where the service of this machine listens unless it is told otherwise.
inline constexpr std::string_view defaultEndpoint = "unix:/run/sps/sysparservice.sock";
// The TCP port where an endpoint names none.
inline constexpr std::uint16_t defaultPort = 6843;

struct Endpoint {
  enum class Kind : std::uint8_t { Unix, Tls, Tcp };
  Kind kind = Kind::Unix;
  std::string path;  // Unix
  std::string host;  // name or address; an IPv6 address without its brackets
  std::uint16_t port = 0;

  // The form that parseEndpoint reads.
  std::string text() const;
  // Whether the host is this machine by its very name.
  bool isLoopback() const;

  bool operator==(const Endpoint&) const = default;
};

// Reads "unix:/absolute/path", "tls://host", "tls://host:port" and "tcp://127.0.0.1:port", also "[::1]"
// for the address; plain TCP goes nowhere else. IPv6 addresses stand in brackets. Nothing where the text is
// none of these, where a path is longer than a socket address takes, and where a host is none.
std::optional<Endpoint> parseEndpoint(std::string_view text);

// A host's name alone, or with a port: the TLS endpoint there.
std::optional<Endpoint> parseHost(std::string_view text);

}  // namespace ipc
