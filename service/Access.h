// Who may do what, by what the transport proved of a peer.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ipc/IpcServer.h"
#include "platform/support/UnicodeString.h"

namespace service {

// An administrator may write, a writer may read.
enum class Right : std::uint8_t { None, Read, Write, Administer };

// Rules of the form
//   user:NAME   a Unix user, by name or number     group:NAME  a Unix group, primary or supplementary
//   cert:NAME   the holder of a certificate        *           whoever reaches the service
// where cert:* is every holder of a certificate and user:* every local user.
//
// Without any rule a local user may read, and root and the service's own user may do everything; whoever
// comes over the network, and over plain loopback, where nobody can be told from another, may nothing. A
// rule for reading takes the place of that local users may read.
class AccessRules {
public:
  // Grants a right. The result says what is wrong with the rule, empty where nothing is: a form that there
  // is not, or a group that this system does not know.
  std::string Add(Right right, std::string_view rule);

  Right Of(const ipc::Peer& peer) const;

private:
  enum class Kind : std::uint8_t { Everyone, User, Group, Certificate };
  struct Rule {
    Right right;
    Kind kind;
    std::string name;  // "*" for all of the kind
    std::uint32_t group = 0;
  };
  static bool Matches(const Rule& rule, const ipc::Peer& peer);

  std::vector<Rule> m_rules;
  bool m_namesReaders = false;
};

// Who a telegram says is asking.
struct Claim {
  UnicodeString user;
  UnicodeString ws;
  UnicodeString app;
};

// Whether a claim can't be true of the peer. A local user is the one that the system names. A certificate
// vouches for its own name, as that of the user or, with or without its domain, of the machine; one of the
// two must be claimed. An empty user claims nothing, and on the loopback nothing is proved.
bool contradicts(const Claim& claim, const ipc::Peer& peer);

}  // namespace service
