// The hierarchy of a large system: 1,000 domains of 100 hosts each.
#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "bench/Rows.h"
#include "platform/registry/RegistryTransaction.h"
#include "platform/support/Utf.h"
#include "src/RgNode.h"
#include "src/shc.h"

namespace bench {

namespace {

constexpr std::uint32_t hostsOfDomain = 100;
constexpr std::uint32_t firstDomain = 1'000;

class Hierarchy : public Shc {
public:
  using Shc::m_colNoMacs;
  using Shc::m_pSubDomain;
};

std::uint32_t domainsOf(const Lab& lab) {
  return lab.scaled(hundredThousand) / hostsOfDomain;
}

// A head has its domain's number, the others are numbered through.
std::uint32_t subDomainOf(std::uint32_t domain, std::uint32_t host) {
  return host == 0 ? firstDomain + domain : 100'000 + domain * hostsOfDomain + host;
}

std::string nameOf(std::uint32_t domain) {
  return "D" + std::to_string(firstDomain + domain);
}

std::string textOf(std::uint32_t domain) {
  std::string text;
  for (std::uint32_t host = 0; host < hostsOfDomain; ++host) {
    const std::string number = std::to_string(subDomainOf(domain, host));
    text += number + ";DEV" + number + ";Pumping station " + number + ";station" + number + ";2;";
  }
  return text;
}

void make(bool isRight) {
  if (!isRight) throw std::runtime_error("cannot make the hierarchy");
}

// A parameter of that type letter, with its key open for the value.
RgNode makeParameter(const Spc& spc, const char16_t* topic, const std::string& name, char letter) {
  const std::uint8_t type[] = {static_cast<std::uint8_t>(letter), 0};
  RgNode node;
  make(node.Init(spc.GetRootName() + u"\\" + spc.GetPrcSpaceName() + u"\\" + topic + u"\\" +
                     support::toUtf16(name).c_str(),
                 true, false) &&
       node.SetValue(Spc::m_pTYPE, type, sizeof type));
  return node;
}

void makeHierarchy(std::uint32_t domains) {
  RegistryTransaction transaction;
  Spc spc;
  spc.Init();
  for (std::uint32_t domain = 0; domain < domains; ++domain) {
    RgNode node = makeParameter(spc, u"DOMAINS", nameOf(domain), 'S');
    make(node.SetValue(Spc::m_pVAL, UnicodeString(support::toUtf16(textOf(domain)))));
  }
  const std::uint32_t domain = domains / 2;
  make(makeParameter(spc, u"Global", "DOMAIN", 'I')
           .SetValue(Spc::m_pVAL, static_cast<std::int32_t>(firstDomain + domain)));
  make(makeParameter(spc, u"Global", "SUBDOMAIN", 'I')
           .SetValue(Spc::m_pVAL, static_cast<std::int32_t>(subDomainOf(domain, 7))));
  make(transaction.Commit() == ERROR_SUCCESS);
}

void useHierarchy(Lab& lab) {
  lab.useStore("hierarchy", [&lab] { makeHierarchy(domainsOf(lab)); });
}

// The time of one host.
void addLoad(Lab& lab) {
  addRow("sps/hierarchy-load/100k", [&lab](benchmark::State& state, const std::string&) {
    useHierarchy(lab);
    const std::uint32_t hosts = domainsOf(lab) * hostsOfDomain;
    Hierarchy hierarchy;
    hierarchy.Init();
    bool isRight = true;
    while (state.KeepRunningBatch(hosts)) {
      isRight &= hierarchy.Load() && hierarchy.GetNumRows() == static_cast<std::int32_t>(hosts);
    }
    if (!isRight) state.SkipWithError("the hierarchy is not whole");
  });
}

// What of a load is reading the texts.
void addRead(Lab& lab) {
  addRow("sps/hierarchy-read/100k", [&lab](benchmark::State& state, const std::string&) {
    useHierarchy(lab);
    const std::uint32_t domains = domainsOf(lab);
    std::vector<std::u16string> names;
    for (std::uint32_t domain = 0; domain < domains; ++domain) {
      names.push_back(support::toUtf16(nameOf(domain)));
    }
    Spc spc;
    spc.Init();
    UnicodeString text;
    bool isRight = true;
    while (state.KeepRunningBatch(domains * hostsOfDomain)) {
      for (const std::u16string& name : names) isRight &= spc.GetPar(u"DOMAINS", name.c_str(), text);
    }
    if (!isRight) state.SkipWithError("a text cannot be read");
  });
}

void addHost(Lab& lab) {
  addRow("sps/hierarchy-host/100k", [&lab](benchmark::State& state, const std::string&) {
    useHierarchy(lab);
    Hierarchy hierarchy;
    hierarchy.Init();
    bool isRight = hierarchy.Load();
    for ([[maybe_unused]] auto iteration : state) isRight &= !hierarchy.GetHost().IsEmpty();
    if (!isRight) state.SkipWithError("a query failed");
  });
}

std::vector<std::int32_t> subDomainsAtRandom(std::uint32_t domains) {
  std::vector<std::int32_t> numbers;
  for (std::uint32_t index = 0; index < domains * hostsOfDomain; ++index) {
    numbers.push_back(static_cast<std::int32_t>(subDomainOf(index / hostsOfDomain, index % hostsOfDomain)));
  }
  std::ranges::shuffle(numbers, std::mt19937(7));
  return numbers;
}

// Any host's row, where a process asks for its own again and again.
void addFind(Lab& lab) {
  addRow("sps/hierarchy-find/100k", [&lab](benchmark::State& state, const std::string&) {
    useHierarchy(lab);
    const std::vector<std::int32_t> wanted = subDomainsAtRandom(domainsOf(lab));
    Hierarchy hierarchy;
    hierarchy.Init();
    const UnicodeString column(Hierarchy::m_pSubDomain);
    if (!hierarchy.Load() || !hierarchy.FindI4(column, wanted[0])) return state.SkipWithError("no hierarchy");
    measure(state, wanted.size(), [&](std::size_t index) {
      return hierarchy.FindI4(column, wanted[index]) && hierarchy.m_colNoMacs.GetShort() == 2;
    });
  });
  addRow("array/hierarchy-find/100k", [&lab](benchmark::State& state, const std::string&) {
    const std::vector<std::int32_t> wanted = subDomainsAtRandom(domainsOf(lab));
    std::vector<std::int32_t> sorted = wanted;
    std::ranges::sort(sorted);
    measure(state, wanted.size(), [&](std::size_t index) {
      return *std::ranges::lower_bound(sorted, wanted[index]) == wanted[index];
    });
  });
}

}  // namespace

void registerHierarchy(Lab& lab) {
  addLoad(lab);
  addRead(lab);
  addHost(lab);
  addFind(lab);
}

}  // namespace bench
