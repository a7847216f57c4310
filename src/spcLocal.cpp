// A parameter's "@value" in this machine's tree, with nothing around it.
#include "src/RgNode.h"
#include "src/spc.h"

template <class Value>
Value Spc::ReadLocalPar(const char16_t* topic, const char16_t* par, const Value& defaultValue, bool create) {
  UnicodeString path;
  GetParPath(path, topic, par);
  RgNode node;
  Value value = defaultValue;
  return node.Init(path, create, false) && node.GetValue(m_pVAL, value) ? value : defaultValue;
}

template <class Value>
bool Spc::WriteLocalPar(const char16_t* topic, const char16_t* par, const Value& value) {
  UnicodeString path;
  GetParPath(path, topic, par);
  RgNode node;
  return node.Init(path, true, false) && node.SetValue(m_pVAL, value);
}

UnicodeString Spc::GetLocalPar(const UnicodeString& topic, const UnicodeString& par,
                               const UnicodeString& defaultValue, bool create) {
  return ReadLocalPar(topic, par, defaultValue, create);
}

std::int32_t Spc::GetLocalPar(const UnicodeString& topic, const UnicodeString& par, std::int32_t defaultValue,
                              bool create) {
  return ReadLocalPar(topic, par, defaultValue, create);
}

bool Spc::SetLocalPar(const UnicodeString& topic, const UnicodeString& par, const UnicodeString& value) {
  return WriteLocalPar(topic, par, value);
}

bool Spc::SetLocalPar(const UnicodeString& topic, const UnicodeString& par, std::int32_t value) {
  return WriteLocalPar(topic, par, value);
}
