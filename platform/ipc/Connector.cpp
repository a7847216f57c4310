#include "platform/ipc/Connector.h"

#include <netdb.h>
#include <sys/un.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/ipc/Errors.h"
#include "platform/ipc/Resolve.h"

namespace ipc {

namespace {

using AddressList = std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)>;

std::int32_t connectUnix(const std::string& path, Socket& socket, Deadline& deadline) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::copy(path.begin(), path.end(), address.sun_path);
  return socket.connect(reinterpret_cast<const sockaddr*>(&address), sizeof address, deadline);
}

std::int32_t lookUp(const Endpoint& endpoint, AddressList& list, std::string& detail) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int status =
      ::getaddrinfo(endpoint.host.c_str(), std::to_string(endpoint.port).c_str(), &hints, &found);
  list.reset(found);
  if (status == 0) return noError;
  detail = ::gai_strerror(status);
  return unknownHost;
}

std::int32_t connectHost(const Endpoint& endpoint, Socket& socket, Deadline& deadline, std::string& detail) {
  AddressList list(nullptr, &::freeaddrinfo);
  const std::int32_t error = lookUp(endpoint, list, detail);
  return error != noError ? error : socket.connectAny(list.get(), deadline);
}

// A server that refuses may have said why and closed before it heard us.
std::int32_t greet(Connected& result, FrameReader& reader, Deadline& deadline) {
  const std::int32_t sent = result.stream->send(encodeHeader({}), {}, deadline);
  if (sent != noError && sent != connectionLost) return sent;
  Frame welcome;
  const std::int32_t error = receiveFrame(*result.stream, reader, welcome, deadline);
  if (error != noError) return error;
  if (welcome.kind != FrameKind::Welcome) return protocolError;
  if (welcome.value > 0)
    result.frameLimit = std::min(maxFrameBytes, static_cast<std::uint32_t>(welcome.value));
  return welcome.code;
}

std::int32_t connectStream(const Endpoint& endpoint, Connected& result, Deadline& deadline) {
  Socket socket;
  const std::int32_t error = endpoint.kind == Endpoint::Kind::Unix
                                 ? connectUnix(endpoint.path, socket, deadline)
                                 : connectHost(endpoint, socket, deadline, result.detail);
  if (error != noError) return error;
  if (endpoint.kind != Endpoint::Kind::Tls) {
    result.stream = makePlainStream(std::move(socket));
    return noError;
  }
  std::int32_t tlsError = tlsFailed;
  result.stream = makeTlsStream(std::move(socket), endpoint.host, deadline, tlsError, result.detail);
  return result.stream ? noError : tlsError;
}

std::string nameOf(const Target& target, const Socket& socket) {
  const bool local = target.endpoint.isLoopback() || (target.isLogical && socket.isToThisMachine());
  return local ? "127.0.0.1" : target.endpoint.host;
}

}  // namespace

std::int32_t receiveFrame(Stream& stream, FrameReader& reader, Frame& frame, Deadline& deadline) {
  for (;;) {
    switch (reader.next(frame)) {
      case FrameReader::State::Frame:
        return noError;
      case FrameReader::State::Version:
        return unknownVersion;
      case FrameReader::State::Malformed:
        return protocolError;
      case FrameReader::State::Idle:
      case FrameReader::State::Partial:
        break;
    }
    std::size_t got = 0;
    const std::int32_t error = stream.receive(reader.room(), got, deadline);
    if (error != noError) return error;
    reader.received(got);
  }
}

Connected connectTo(const char16_t* server, Deadline& deadline, FrameReader& reader) {
  Connected result;
  const auto target = resolve(server);
  result.error = target ? connectStream(target->endpoint, result, deadline) : badName;
  if (target && result.error != noError && result.detail.empty()) result.detail = target->endpoint.text();
  if (result.error == noError) {
    result.serverName = nameOf(*target, result.stream->socket());
    result.error = greet(result, reader, deadline);
  }
  if (result.error != noError) result.stream.reset();
  return result;
}

}  // namespace ipc
