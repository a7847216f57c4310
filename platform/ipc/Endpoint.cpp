#include "platform/ipc/Endpoint.h"

#include <sys/un.h>

#include <algorithm>
#include <cctype>
#include <charconv>

namespace ipc {

namespace {

bool isHostCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-' || c == '.' || c == '_';
}
bool isAddressCharacter(char c) {
  return std::isxdigit(static_cast<unsigned char>(c)) != 0 || c == ':' || c == '.' || c == '%';
}

bool takePrefix(std::string_view& text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return false;
  text.remove_prefix(prefix.size());
  return true;
}

bool readPort(std::string_view text, std::uint16_t& port) {
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, port);
  return error == std::errc() && stop == end;
}

// A host and, where one is there, a port.
std::optional<Endpoint> parseAddress(Endpoint::Kind kind, std::string_view text) {
  Endpoint endpoint{kind, {}, {}, defaultPort};
  std::string_view host;
  std::string_view rest;
  if (takePrefix(text, "[")) {
    const std::size_t end = text.find(']');
    if (end == std::string_view::npos) return {};
    host = text.substr(0, end);
    rest = text.substr(end + 1);
    if (!std::all_of(host.begin(), host.end(), isAddressCharacter)) return {};
  } else {
    const std::size_t end = std::min(text.find(':'), text.size());
    host = text.substr(0, end);
    rest = text.substr(end);
    if (!std::all_of(host.begin(), host.end(), isHostCharacter)) return {};
  }
  if (host.empty() || host.size() > 255 || host.front() == '-') return {};
  if (!rest.empty() && (!takePrefix(rest, ":") || !readPort(rest, endpoint.port))) return {};
  endpoint.host = host;
  return endpoint;
}

std::optional<Endpoint> parsePath(std::string_view path) {
  if (!path.starts_with('/') || path.size() >= sizeof(sockaddr_un::sun_path)) return {};
  if (path.find('\0') != std::string_view::npos) return {};
  return Endpoint{Endpoint::Kind::Unix, std::string(path), {}, 0};
}

}  // namespace

bool Endpoint::isLoopback() const {
  return kind == Kind::Unix || host == "localhost" || host == "127.0.0.1" || host == "::1";
}

std::string Endpoint::text() const {
  if (kind == Kind::Unix) return "unix:" + path;
  const bool isAddress6 = host.find(':') != std::string::npos;
  return std::string(kind == Kind::Tls ? "tls://" : "tcp://") + (isAddress6 ? "[" + host + "]" : host) + ":" +
         std::to_string(port);
}

std::optional<Endpoint> parseEndpoint(std::string_view text) {
  if (takePrefix(text, "unix:")) return parsePath(text);
  if (takePrefix(text, "tls://")) return parseAddress(Endpoint::Kind::Tls, text);
  if (!takePrefix(text, "tcp://")) return {};
  auto endpoint = parseAddress(Endpoint::Kind::Tcp, text);
  // A name may lead anywhere; only an address is sure to stay here.
  if (endpoint && endpoint->host != "127.0.0.1" && endpoint->host != "::1") return {};
  return endpoint;
}

std::optional<Endpoint> parseHost(std::string_view text) {
  return parseAddress(Endpoint::Kind::Tls, text);
}

}  // namespace ipc
