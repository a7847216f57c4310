// What the levels list, and the values of a parameter as they are stored.
#include "src/SpaLevel.h"
#include "src/spcForms.h"

// An empty list is no failure: the node has traced it, and has no code of it.
bool Spa::GoFirst(Depth depth, bool (RgNode::*goFirst)()) {
  RgNode* const node = NodeOf(depth);
  return node && (node->*goFirst)();
}

bool Spa::GetNext(Depth depth, UnicodeString& name) {
  return Run(depth, [&](RgNode& node) { return node.GetNextSubNode(name); });
}

bool Spa::GoFirstPrcSpace() {
  return GoFirst(Root, &RgNode::GoFirstSubNode);
}

bool Spa::GetNextPrcSpace(UnicodeString& name) {
  return GetNext(Root, name);
}

bool Spa::GoFirstTopic() {
  return GoFirst(PrcSpace, &RgNode::GoFirstSubNode);
}

bool Spa::GetNextTopic(UnicodeString& name) {
  return GetNext(PrcSpace, name);
}

bool Spa::GoFirstParam() {
  return GoFirst(Topic, &RgNode::GoFirstSubNode);
}

bool Spa::GetNextPar(UnicodeString& name) {
  return GetNext(Topic, name);
}

bool Spa::GoFirstParProp() {
  return GoFirst(Parameter, &RgNode::GoFirstVal);
}

bool Spa::GetNextParProp(UnicodeString& name, std::uint8_t* data, std::uint32_t& dataLen) {
  return Run(Parameter, [&](RgNode& node) {
    std::uint32_t type = 0;
    return node.GetNextVal(name, type, data, dataLen);
  });
}

bool Spa::GetCount(std::uint32_t (RgNode::*count)() const, std::uint32_t& value) {
  const RgNode* const node = NodeOf(Parameter);
  if (node) value = (node->*count)();
  return node != nullptr;
}

bool Spa::GetPropCnt(std::uint32_t& count) {
  return GetCount(&RgNode::GetValCnt, count);
}

bool Spa::GetMaxPropData(std::uint32_t& size) {
  return GetCount(&RgNode::GetMaxValDataLen, size);
}

template <class Value>
bool Spa::Read(const char16_t* name, Value& value) {
  return Run(Parameter, [&](RgNode& node) { return client::readStored(node, name, value); });
}

template <class Value>
bool Spa::Write(const char16_t* name, const Value& value) {
  return Run(Parameter, [&](RgNode& node) { return client::writeStored(node, name, value); });
}

bool Spa::GetParValue(const char16_t* name, std::int32_t& value) {
  return Read(name, value);
}

bool Spa::GetParValue(const char16_t* name, double& value) {
  return Read(name, value);
}

bool Spa::GetParValue(const char16_t* name, std::int64_t& value) {
  return Read(name, value);
}

bool Spa::GetParValue(const char16_t* name, UnicodeString& value) {
  return Read(name, value);
}

bool Spa::GetParValue(const char16_t* name, bool& value) {
  return Read(name, value);
}

bool Spa::GetParAttr(const char16_t* name, std::uint16_t& value) {
  return Read(name, value);
}

bool Spa::GetParAttr(const char16_t* name, UnicodeString& value) {
  return Read(name, value);
}

bool Spa::GetParAttr(const char16_t* name, bool& value) {
  return Run(Parameter, [&](RgNode& node) { return node.GetValue(name, value); });
}

bool Spa::GetParType(std::uint16_t& type) {
  return Read(m_pTYPE, type);
}

bool Spa::SetParValue(const char16_t* name, const UnicodeString& value) {
  return Write(name, value);
}

bool Spa::SetParValue(const char16_t* name, std::int32_t value) {
  return Write(name, value);
}

bool Spa::SetParValue(const char16_t* name, double value) {
  return Write(name, value);
}

bool Spa::SetParValue(const char16_t* name, const std::int64_t* value) {
  return Run(Parameter, [&](RgNode& node) {
    return node.SetValue(name, reinterpret_cast<const std::uint8_t*>(value), sizeof *value);
  });
}

bool Spa::SetParValue(const char16_t* name, bool value) {
  return Write(name, value);
}

bool Spa::SetParAttr(const char16_t* name, const UnicodeString& value) {
  return Write(name, value);
}

bool Spa::SetParAttr(const char16_t* name, std::uint16_t value) {
  return Write(name, value);
}

bool Spa::SetParAttr(const char16_t* name, char16_t value) {
  return Write(name, value);
}

bool Spa::SetParAttr(const char16_t* name, bool value) {
  return Run(Parameter, [&](RgNode& node) { return node.SetValue(name, value); });
}
