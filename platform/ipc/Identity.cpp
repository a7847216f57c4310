#include "platform/ipc/Identity.h"

#include <netdb.h>
#include <openssl/x509v3.h>
#include <pwd.h>
#include <sys/socket.h>

#include <cerrno>
#include <memory>

namespace ipc {

namespace {

std::string userName(uid_t uid) {
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (::getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) return {};
  return found->pw_name;
}

std::vector<std::uint32_t> groupsOf(int descriptor) {
  std::vector<std::uint32_t> groups(32);
  for (;;) {
    auto size = static_cast<socklen_t>(groups.size() * sizeof(std::uint32_t));
    const int status = ::getsockopt(descriptor, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size);
    if (status != 0 && errno != ERANGE) return {};
    groups.resize(size / sizeof(std::uint32_t));
    if (status == 0) return groups;
  }
}

bool identifyUnix(int descriptor, Peer& peer) {
  ucred credentials{};
  socklen_t size = sizeof credentials;
  if (::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return false;
  peer.kind = Peer::Kind::Unix;
  peer.uid = credentials.uid;
  peer.gid = credentials.gid;
  peer.groups = groupsOf(descriptor);
  peer.name = userName(credentials.uid);
  peer.address = "unix";
  return true;
}

bool identifyTcp(int descriptor, Peer& peer) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  if (::getpeername(descriptor, generic, &size) != 0) return false;
  char host[256] = {};
  char port[16] = {};
  const int flags = NI_NUMERICHOST | NI_NUMERICSERV;
  if (::getnameinfo(generic, size, host, sizeof host, port, sizeof port, flags) != 0) return false;
  const std::string text = host;
  peer.address = (text.find(':') != std::string::npos ? "[" + text + "]" : text) + ":" + port;
  return true;
}

std::string textOf(const GENERAL_NAME& name) {
  if (name.type != GEN_DNS && name.type != GEN_EMAIL && name.type != GEN_URI) return {};
  const ASN1_IA5STRING* text = name.d.ia5;
  return {reinterpret_cast<const char*>(ASN1_STRING_get0_data(text)),
          static_cast<std::size_t>(ASN1_STRING_length(text))};
}

}  // namespace

std::optional<Peer> identify(int descriptor, Endpoint::Kind kind) {
  Peer peer;
  peer.kind = kind == Endpoint::Kind::Tls ? Peer::Kind::Tls : Peer::Kind::Loopback;
  const bool known =
      kind == Endpoint::Kind::Unix ? identifyUnix(descriptor, peer) : identifyTcp(descriptor, peer);
  return known ? std::optional(peer) : std::nullopt;
}

std::string certificateName(const SSL* ssl) {
  const X509* certificate = SSL_get0_peer_certificate(ssl);
  if (certificate == nullptr) return {};
  const std::unique_ptr<GENERAL_NAMES, decltype(&GENERAL_NAMES_free)> names(
      static_cast<GENERAL_NAMES*>(X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)),
      &GENERAL_NAMES_free);
  for (int i = 0; names && i < sk_GENERAL_NAME_num(names.get()); ++i) {
    std::string text = textOf(*sk_GENERAL_NAME_value(names.get(), i));
    if (text.find('\0') != std::string::npos) return {};
    if (!text.empty()) return text;
  }
  return {};
}

std::string userKey(const Peer& peer) {
  switch (peer.kind) {
    case Peer::Kind::Unix:
      return "unix " + std::to_string(peer.uid);
    case Peer::Kind::Tls:
      return "tls " + peer.name;
    case Peer::Kind::Loopback:
      break;
  }
  return "loopback";
}

}  // namespace ipc
