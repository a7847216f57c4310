// The system's hierarchy of domains, subdomains and their hosts, as commands show it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "src/shc.h"
#include "tools/sps/Context.h"

namespace tool {

struct HostRow {
  std::int32_t domain = 0;
  std::int32_t subdomain = 0;
  std::u16string device;
  std::u16string description;
  std::u16string name;
  std::int16_t noMacs = 0;
  std::int32_t level = 0;             // 0 the top, 1 the head of a domain, 2 a subdomain
  std::optional<std::size_t> parent;  // its place among the rows, where it is there
  bool isHere = false;                // this machine's
};

// The library's table in the space and for the identity of the command, from the store here or from the
// master alone.
class Hierarchy final : public Shc {
public:
  // Refused where the master can't be reached.
  explicit Hierarchy(Context& context);

  // The rows of the last load, in the table's order.
  std::vector<HostRow> Rows();
  // Where they came from, for people.
  const std::string& Source() const { return m_source; }
  // Of this machine, -1 as long as it was not read.
  std::int32_t LocalSubDomain() const { return m_localSubDomain; }

private:
  HostRow SelectedRow();

  std::string m_source;
};

}  // namespace tool
