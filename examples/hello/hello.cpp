// Declares a parameter with a value for each user, writes it and reads it back.
#include <sps/RgNode.h>
#include <sps/spc.h>

#include <cinttypes>
#include <cstdio>

// A parameter is a key with a type letter (I: 32-bit number) and, if wanted, an override letter (U: users
// may have values of their own).
static bool declare(const Spc& spc) {
  const std::uint8_t number[] = {'I', 0};
  const std::uint8_t byUser[] = {'U', 0};
  RgNode key;
  return key.Init(spc.GetRootName() + u"\\" + spc.GetPrcSpaceName() + u"\\Alarms\\Limit", true, false) &&
         key.SetValue(Spc::m_pTYPE, number, sizeof number) &&
         key.SetValue(Spc::m_pOVERRIDE, byUser, sizeof byUser) && key.SetValue(Spc::m_pVAL, 80);
}

int main() {
  Spc spc;
  spc.Init();
  if (!declare(spc)) return 1;

  std::uint32_t err = 0;
  std::int32_t limit = 0;
  spc.SetUser(u"miller");
  if (!spc.SetPar(u"Alarms", u"Limit", 95, &err) || !spc.GetPar(u"Alarms", u"Limit", &limit, &err)) {
    std::fprintf(stderr, "failed with code %" PRIu32 "\n", err);
    return 1;
  }
  std::printf("miller:   %" PRId32 "\n", limit);

  spc.SetUser(u"jones");
  if (!spc.GetPar(u"Alarms", u"Limit", &limit, &err)) return 1;
  std::printf("everyone: %" PRId32 "\n", limit);
}
