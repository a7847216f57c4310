#include "service/Access.h"

#include <grp.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

#include "platform/support/Utf.h"

namespace service {
namespace {

std::optional<std::uint32_t> parseId(std::string_view text) {
  std::uint32_t id = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return id;
}

std::optional<std::uint32_t> findGroup(const std::string& name) {
  std::array<char, 16384> room{};
  group entry{};
  group* found = nullptr;
  if (::getgrnam_r(name.c_str(), &entry, room.data(), room.size(), &found) == 0 && found) return entry.gr_gid;
  return parseId(name);
}

bool sameText(std::string_view left, std::string_view right) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  return std::ranges::equal(left, right, {}, lower, lower);
}

bool isHost(std::string_view claimed, std::string_view certified) {
  return sameText(claimed, certified) ||
         (!claimed.empty() && sameText(claimed, certified.substr(0, certified.find('.'))));
}

}  // namespace

std::string AccessRules::Add(Right right, std::string_view rule) {
  const std::size_t colon = std::min(rule.find(':'), rule.size());
  const std::string_view kind = rule.substr(0, colon);
  Rule added{right, Kind::Everyone, std::string(rule.substr(std::min(colon + 1, rule.size())))};
  if (kind == "user") {
    added.kind = Kind::User;
  } else if (kind == "group") {
    added.kind = Kind::Group;
  } else if (kind == "cert") {
    added.kind = Kind::Certificate;
  } else if (rule != "*") {
    return "expected user:NAME, group:NAME, cert:NAME or *";
  }
  if (rule != "*" && added.name.empty()) return "expected a name behind the colon";
  if (added.kind == Kind::Group) {
    const auto group = findGroup(added.name);
    if (!group) return "there is no group \"" + added.name + '"';
    added.group = *group;
  }
  m_namesReaders = m_namesReaders || right == Right::Read;
  m_rules.push_back(std::move(added));
  return {};
}

bool AccessRules::Matches(const Rule& rule, const ipc::Peer& peer) {
  const bool isLocal = peer.kind == ipc::Peer::Kind::Unix;
  const bool isAll = rule.name == "*";
  switch (rule.kind) {
    case Kind::User:
      return isLocal && (isAll || rule.name == peer.name || parseId(rule.name) == peer.uid);
    case Kind::Group:
      return isLocal && (rule.group == peer.gid || std::ranges::count(peer.groups, rule.group) != 0);
    case Kind::Certificate:
      return peer.kind == ipc::Peer::Kind::Tls && (isAll || sameText(rule.name, peer.name));
    default:
      return true;
  }
}

Right AccessRules::Of(const ipc::Peer& peer) const {
  static const std::uint32_t own = ::geteuid();  // asked for with every request
  const bool isLocal = peer.kind == ipc::Peer::Kind::Unix;
  if (isLocal && (peer.uid == 0 || peer.uid == own)) return Right::Administer;
  Right right = isLocal && !m_namesReaders ? Right::Read : Right::None;
  for (const Rule& rule : m_rules) {
    if (rule.right > right && Matches(rule, peer)) right = rule.right;
  }
  return right;
}

bool contradicts(const Claim& claim, const ipc::Peer& peer) {
  const std::string user = support::toUtf8(claim.user.View());
  const std::string machine = support::toUtf8(claim.ws.View());
  switch (peer.kind) {
    case ipc::Peer::Kind::Unix:
      return !user.empty() && user != peer.name && parseId(user) != peer.uid;
    case ipc::Peer::Kind::Tls:
      if (user.empty() && machine.empty()) return false;
      return (user.empty() || !sameText(user, peer.name)) && !isHost(machine, peer.name);
    default:
      return false;
  }
}

}  // namespace service
