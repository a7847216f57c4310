// What an administration program does: walk, edit and delete in the tree of this machine, and ask where the
// machine stands in the system.
// usage: administration [SERVER]   (with a name as Spc::ConnectSpService takes it, the hierarchy is asked of
//                                   that master too)
#include <cstdio>
#include <string>

#include "platform/support/Utf.h"
#include "src/Spa.h"
#include "src/shc.h"

namespace {

std::string utf8(const UnicodeString& text) {
  return support::toUtf8(text.View());
}

std::string reasonOf(const Spa& spa) {
  return utf8(Spa::GetErrString(static_cast<std::uint32_t>(spa.GetLastError())));
}

void require(bool done, const Spa& spa, const char* what) {
  if (!done) std::printf("cannot %s: %s\n", what, reasonOf(spa).c_str());
}

void listParameters(Spa& spa) {
  UnicodeString name;
  while (spa.GetNextPar(name)) {
    std::uint16_t letter = 0;
    std::uint32_t properties = 0;
    if (!spa.GetParAcc(name, false, false)) continue;
    spa.GetParType(letter);
    spa.GetPropCnt(properties);
    std::printf("    %s: type %c, %u properties\n", utf8(name).c_str(),
                letter == 0 ? '-' : static_cast<char>(letter), properties);
  }
}

void walk(Spa& spa, const UnicodeString& space) {
  require(spa.GetPrcSpaceAcc(Spc::m_pRootName, space, false, false), spa, "open the process space");
  std::printf("topics of process space %s:\n", utf8(space).c_str());
  UnicodeString topic;
  while (spa.GetNextTopic(topic)) {
    std::printf("  %s\n", utf8(topic).c_str());
    if (topic == UnicodeString(u"DOMAINS") && spa.GetTopicAcc(topic, false, false)) listParameters(spa);
  }
}

// A parameter is made, given a value and a type, and deleted with its topic.
void edit(Spa& spa, const UnicodeString& space) {
  const char16_t* const topic = u"Commissioning";
  require(spa.GetParAcc(Spc::m_pRootName, space, topic, u"Step", true, false), spa, "make a parameter");
  require(spa.SetParAttr(Spc::m_pTYPE, u'I'), spa, "set its type");
  require(spa.SetParValue(Spc::m_pVAL, std::int32_t{3}), spa, "set its value");
  std::int32_t step = 0;
  require(spa.GetParValue(Spc::m_pVAL, step), spa, "read its value");
  std::printf("made %s/Step with the value %d\n", utf8(topic).c_str(), step);
  require(spa.GetPrcSpaceAcc(space, false, false), spa, "open the process space");
  require(spa.DelTopic(topic), spa, "delete the topic");
  const bool isThere = spa.GetTopicAcc(topic, false, false);
  std::printf("deleted the topic; opening it now: %s\n", isThere ? "done" : reasonOf(spa).c_str());
}

void tellPlace(Shc& shc, const char* source) {
  if (!shc.Load() || shc.GetDomain() == -1) {
    std::printf("%s does not tell where this machine stands\n", source);
    return;
  }
  UnicodeString parent;
  const std::int32_t subdomain = shc.GetSubDomain();  // and this machine's row is selected
  const bool hasParent = shc.GetParentHost(parent);
  std::printf("%s: domain %d, subdomain %d, host %s, level %d, parent host %s\n", source, shc.GetDomain(),
              subdomain, utf8(shc.GetHost()).c_str(), shc.GetLocalHierarchyLevel(),
              !hasParent         ? "not known"
              : parent.IsEmpty() ? "none"
                                 : utf8(parent).c_str());
}

}  // namespace

int main(int argc, char** argv) {
  Spa spa;
  spa.Init();
  walk(spa, spa.GetPrcSpaceName());
  edit(spa, spa.GetPrcSpaceName());
  Shc shc;
  shc.Init();
  tellPlace(shc, "this machine's store");
  if (argc < 2) return 0;
  if (!shc.ConnectSpService(UnicodeString(argv[1]), false)) {
    std::fputs("administration: no connection\n", stderr);
    return 1;
  }
  tellPlace(shc, "the master");
}
