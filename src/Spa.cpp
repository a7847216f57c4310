#include "src/Spa.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "src/SpaLevel.h"

const Spa::Level Spa::levels[] = {{&Spa::m_rootName, &Spa::m_pRootNode, 1},
                                  {&Spa::m_prcSpaceName, &Spa::m_pPrcSpaceNode, 3},
                                  {&Spa::m_topicName, &Spa::m_pTopicNode, 4},
                                  {&Spa::m_parName, &Spa::m_pParNode, 5}};

Spa::Spa() = default;

// NOLINTNEXTLINE(bugprone-copy-constructor-init,readability-redundant-member-init): a new Spc part is meant
Spa::Spa(const Spa& source) : Spc() {
  CopyLevels(source);
}

Spa& Spa::operator=(const Spa& source) {  // NOLINT(bugprone-unhandled-self-assignment): handled there
  CopyLevels(source);
  return *this;
}

Spa::~Spa() = default;

// What can throw comes first: half of each object's levels would be a danger to both trees.
void Spa::CopyLevels(const Spa& source) {
  if (this == &source) return;
  std::array<UnicodeString, std::size(levels)> names;
  std::array<std::unique_ptr<RgNode>, std::size(levels)> nodes;
  for (std::size_t i = 0; i < std::size(levels); ++i) {
    names[i] = source.*levels[i].name;
    if (const auto& node = source.*levels[i].node) nodes[i] = std::make_unique<RgNode>(*node);
  }
  for (std::size_t i = 0; i < std::size(levels); ++i) {
    this->*levels[i].name = std::move(names[i]);
    this->*levels[i].node = std::move(nodes[i]);
  }
  m_lastError = source.m_lastError;
}

bool Spa::Fail(std::int32_t code) {
  m_lastError = code;
  return false;
}

RgNode* Spa::NodeOf(Depth depth) {
  RgNode* const node = (this->*levels[depth].node).get();
  if (!node) Fail(levels[depth].missing);
  return node;
}

bool Spa::HasNamesAbove(Depth depth) const {
  for (std::size_t i = 0; i < depth; ++i) {
    if ((this->*levels[i].name).IsEmpty()) return false;
  }
  return true;
}

UnicodeString Spa::PathAbove(Depth depth) const {
  UnicodeString path;
  for (std::size_t i = 0; i < depth; ++i) path += this->*levels[i].name + u"\\";
  return path;
}

bool Spa::OpenShort(Depth depth, const char16_t* name, bool create, bool isVolatile) {
  if (!HasNamesAbove(depth)) return Fail(levels[depth - 1].missing);
  return Open(depth, {name}, create, isVolatile);
}

// The names are those of the levels down to this one, as many as are given; those above are the ones kept.
bool Spa::Open(Depth depth, std::initializer_list<const char16_t*> names, bool create, bool isVolatile) {
  const std::size_t first = depth + 1 - names.size();
  UnicodeString path = PathAbove(static_cast<Depth>(first));
  // Copies: a name may be one of those that are replaced below.
  std::array<UnicodeString, std::size(levels)> kept;
  std::ranges::copy(names, kept.begin());
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i > 0) path += u'\\';
    path += kept[i];
  }
  auto& node = this->*levels[depth].node;
  node.reset();  // closed before the new key is opened
  node = std::make_unique<RgNode>();
  if (!node->Init(std::move(path), create, isVolatile)) {
    const std::int32_t code = node->GetRetCode();
    *node = RgNode();  // a key that opened and could not tell its counts is closed
    return Fail(code);
  }
  for (std::size_t i = 0; i < names.size(); ++i) this->*levels[first + i].name = std::move(kept[i]);
  return true;
}

bool Spa::GetRootAcc(const char16_t* root, bool create, bool isVolatile) {
  return Open(Root, {root}, create, isVolatile);
}

bool Spa::GetPrcSpaceAcc(const char16_t* root, const char16_t* prcSpace, bool create, bool isVolatile) {
  return Open(PrcSpace, {root, prcSpace}, create, isVolatile);
}

bool Spa::GetPrcSpaceAcc(const char16_t* prcSpace, bool create, bool isVolatile) {
  return OpenShort(PrcSpace, prcSpace, create, isVolatile);
}

bool Spa::GetTopicAcc(const char16_t* root, const char16_t* prcSpace, const char16_t* topic, bool create,
                      bool isVolatile) {
  return Open(Topic, {root, prcSpace, topic}, create, isVolatile);
}

bool Spa::GetTopicAcc(const char16_t* topic, bool create, bool isVolatile) {
  return OpenShort(Topic, topic, create, isVolatile);
}

bool Spa::GetParAcc(const char16_t* root, const char16_t* prcSpace, const char16_t* topic,
                    const char16_t* par, bool create, bool isVolatile) {
  return Open(Parameter, {root, prcSpace, topic, par}, create, isVolatile);
}

bool Spa::GetParAcc(const char16_t* par, bool create, bool isVolatile) {
  return OpenShort(Parameter, par, create, isVolatile);
}

void Spa::ReleaseRootAcc() {
  m_pRootNode.reset();
}

void Spa::ReleasePrcSpaceAcc() {
  m_pPrcSpaceNode.reset();
}

void Spa::ReleaseTopicAcc() {
  m_pTopicNode.reset();
}

void Spa::ReleaseParAcc() {
  m_pParNode.reset();
}

const char16_t* Spa::GetErrString(std::uint32_t code) {
  switch (code) {
    case 1:
      return u"No valid root";
    case 2:
      return u"Parameter value not found";
    case 3:
      return u"No valid process space";
    case 4:
      return u"No valid topic";
    case 5:
      return u"No valid parameter";
    case 6:
      return u"Invalid handle";
    case 234:
      return u"Buffer size too small";
    default:
      return u"Method returned successfully";
  }
}
