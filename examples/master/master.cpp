// What a process sees of a master: its own tree lacks some parameters, the master's tree has them all.
// usage: master SERVER   (a name as Spc::ConnectSpService takes it)
#include <cstdio>
#include <string>

#include "platform/support/Dfs.h"
#include "platform/support/Utf.h"
#include "src/RgNode.h"
#include "src/spc.h"

namespace {

constexpr const char16_t* topic = u"Filtration";

std::string utf8(const UnicodeString& text) {
  return support::toUtf8(text.View());
}

std::string outcome(bool done, std::uint32_t err) {
  return done ? "done" : "failed with code " + std::to_string(err);
}

// Declares a parameter in this process's own tree.
bool declare(const Spc& spc, const char16_t* par, char letter, bool isLocalOnly) {
  const std::uint8_t type[] = {static_cast<std::uint8_t>(letter), 0};
  RgNode key;
  return key.Init(spc.GetRootName() + u"\\" + spc.GetPrcSpaceName() + u"\\" + topic + u"\\" + par, true,
                  false) &&
         key.SetValue(Spc::m_pTYPE, type, sizeof type) && key.SetValue(Spc::m_pDISABLELOG, isLocalOnly);
}

void showRead(Spc& spc) {
  double limit = 0;
  std::uint32_t err = 0;
  const bool done = spc.GetPar(topic, u"TurbidityLimit", &limit, &err);
  std::printf("read TurbidityLimit, which is not in the own tree: %s, %g\n", outcome(done, err).c_str(),
              limit);
}

// Whether the own tree has a value for the parameter now, which tells where a write went.
const char* placeOf(const Spc& spc, const char16_t* par) {
  RgNode key;
  bool isHere = false;
  key.Init(spc.GetRootName() + u"\\" + spc.GetPrcSpaceName() + u"\\" + topic + u"\\" + par, false, false);
  key.GetValue(Spc::m_pVAL, isHere);
  return isHere ? "the own tree" : "the master";
}

void showWrites(Spc& spc) {
  std::uint32_t err = 0;
  bool done = spc.SetPar(topic, u"TurbidityLimit", 0.45, &err);
  std::printf("write a number that only the master has: %s, in %s\n", outcome(done, err).c_str(),
              placeOf(spc, u"TurbidityLimit"));
  declare(spc, u"BackwashInterval", 'I', false);
  done = spc.SetPar(topic, u"BackwashInterval", 12, &err);
  std::printf("write a number that both have: %s, in %s\n", outcome(done, err).c_str(),
              placeOf(spc, u"BackwashInterval"));
  declare(spc, u"HallName", 'S', false);
  done = spc.SetPar(topic, u"HallName", u"Filter hall \"South\"", 0, &err);
  std::printf("write a text that both have, to a master on this machine: %s, in %s\n",
              outcome(done, err).c_str(), placeOf(spc, u"HallName"));
  declare(spc, u"OwnNote", 'S', true);
  done = spc.SetPar(topic, u"OwnNote", u"checked", 0, &err);
  std::printf("write a text with \"@disableLog\": %s, in %s\n", outcome(done, err).c_str(),
              placeOf(spc, u"OwnNote"));
}

// A change that was made on another host, passed on with its origin.
void showReplication(Spc& spc, const UnicodeString& server) {
  std::uint8_t room[512];
  DfsBin change;
  change.AssignEmptyBuffer(room, sizeof room, false);
  change.AddValueStr(topic, u"topic");
  change.AddValueStr(u"BackwashInterval", u"par");
  change.AddValueI4(7, u"msid");
  change.AddValueStr(u"hollis", u"user");
  change.AddValueStr(u"panel", u"app");
  change.AddValueStr(u"INTAKE2", u"ws");
  change.AddValueStr(Spc::m_pVAL, u"propname");
  change.AddValueI4('I', u"type");
  const std::int32_t hours = 36;
  change.AddValueI4(sizeof hours, u"size");
  change.AddValueBin(&hours, sizeof hours, u"binary");
  std::uint32_t err = 0;
  const bool done = spc.ReplicatePar(&change, u"CONTROL1", &err);
  std::printf("pass on a change that hollis made at INTAKE2: %s\n", outcome(done, err).c_str());
  std::int32_t now = 0;
  spc.ConnectSpService(server, false);  // the master's tree alone
  if (spc.GetPar(topic, u"BackwashInterval", &now, &err)) std::printf("the master has it: %d\n", now);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: master SERVER\n", stderr);
    return 2;
  }
  const UnicodeString server(argv[1]);
  Spc spc;
  spc.Init();
  if (!spc.ConnectSpService(server, true)) {
    std::fputs("master: no connection\n", stderr);
    return 1;
  }
  UnicodeString version;
  spc.GetMasterVersion(version);
  std::printf("connected to a master of version %s\n", utf8(version).c_str());
  showRead(spc);
  showWrites(spc);
  showReplication(spc, server);
}
